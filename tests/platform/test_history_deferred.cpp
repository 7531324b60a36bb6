// SPDX-License-Identifier: Apache-2.0
// Debug history, events kept unformatted: every conversion reads back as vsnprintf renders it,
// formats that are not deferred and calls that cannot be, formats whose memory changes or goes
// away before the event is read, %n, the format cache's bound, ring bytes per event, times.
#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <cwchar>
#include <string>
#include <thread>
#include <vector>

#include <platform/platform.h>

#include "zorv_test_support.h"

namespace {

constexpr uint32_t kSvc = 931;
constexpr size_t kKept = 0x10000 - 25; // what an event of the fixture's ring keeps at most

// The text the newest event of `svc` reads back as.
std::string newest(uint32_t svc) {
    const uint32_t n = debug_history_count(svc);
    const char *e = n == 0 ? nullptr : debug_history_event(svc, n - 1);
    return e == nullptr ? "(no event)" : e;
}

// Logs format(args...) and expects the event to read back as snprintf renders it (cut where the
// ring cuts it); a call that snprintf fails is refused and keeps nothing. Not inlined: formats
// and arguments the compiler would question reach the history as they are.
template <typename... A> [[gnu::noinline]] void expect_as_printf(const char *format, A... args) {
    static_assert(sizeof...(A) > 0, "pass an argument, even one the format does not read");
    static char want[1 << 17];
    const uint32_t held = debug_history_count(kSvc);
    if (std::snprintf(want, sizeof want, format, args...) < 0) {
        EXPECT_NE(debug_history_log(kSvc, 0, 0, format, args...), 0) << format;
        EXPECT_EQ(debug_history_count(kSvc), held) << format;
        return;
    }
    ASSERT_EQ(debug_history_log(kSvc, 0, 0, format, args...), 0) << format;
    EXPECT_EQ(newest(kSvc), std::string(want).substr(0, kKept)) << format;
}

class HistoryDeferred : public ::testing::Test {
  protected:
    void SetUp() override { ASSERT_EQ(debug_history_open(kSvc, 0x10000), 0); }
};

TEST_F(HistoryDeferred, IntegerConversionsFlagsWidthsAndPrecisions) {
    for (int v : {0, 1, -1, 42, -42, INT_MAX, INT_MIN}) {
        expect_as_printf("%d|%i|%u|%x|%X|%o|%c", v, v, static_cast<unsigned>(v),
                         static_cast<unsigned>(v), static_cast<unsigned>(v),
                         static_cast<unsigned>(v), 'a' + (v & 7));
        expect_as_printf("[%5d|%-5d|%05d|%+d|% d|%.3d|%.0d|%+-8.4i]", v, v, v, v, v, v, v, v);
        expect_as_printf("[%#x|%#o|%#X|%#.0o|%08.3x|%-#10X]", static_cast<unsigned>(v),
                         static_cast<unsigned>(v), static_cast<unsigned>(v),
                         static_cast<unsigned>(v), static_cast<unsigned>(v),
                         static_cast<unsigned>(v));
        expect_as_printf("%hhd|%hd|%hhu|%hu|%hhx", v, v, static_cast<unsigned>(v),
                         static_cast<unsigned>(v), static_cast<unsigned>(v));
    }
    expect_as_printf("%ld|%lu|%lx|%lld|%llu|%llX|%zd|%zu|%zx|%jd|%ju|%td|%tx", LONG_MIN, ULONG_MAX,
                     0xABCDEFUL, LLONG_MIN, ULLONG_MAX, 0x1234ULL, static_cast<ssize_t>(-5),
                     SIZE_MAX, size_t{255}, static_cast<intmax_t>(-7),
                     static_cast<uintmax_t>(UINTMAX_MAX), static_cast<ptrdiff_t>(-9),
                     static_cast<ptrdiff_t>(77));
}

TEST_F(HistoryDeferred, CharactersStringsPointersAndPercent) {
    expect_as_printf("%c%c%-3c|%3c|", 'x', '%', 'y', 'z');
    expect_as_printf("[%s|%.2s|%10s|%-10s|%.0s|%5.1s]", "abc", "abc", "abc", "abc", "abc", "abc");
    expect_as_printf("%s%s%s", "", "only the middle one", "");
    const char unterminated[4] = {'w', 'x', 'y', 'z'};
    expect_as_printf("%.4s|%.*s|%.2s", unterminated, 3, unterminated, unterminated);
    int anchor = 0;
    expect_as_printf("%p|%20p|%-20p|%p", static_cast<void *>(&anchor), static_cast<void *>(nullptr),
                     static_cast<void *>(&anchor), reinterpret_cast<void *>(UINTPTR_MAX));
    expect_as_printf("100%% of %d%%, %%d%%%%", 7);
    expect_as_printf("%c|", 0); // the text ends at the NUL for every reader
}

TEST_F(HistoryDeferred, StringsOfEveryShortLength) {
    std::string text;
    for (int n = 0; n <= 100; ++n, text += static_cast<char>('a' + n % 26))
        expect_as_printf("<%s|%d|%s>", text.c_str(), n, text.c_str() + n / 2);
}

TEST_F(HistoryDeferred, FloatingConversions) {
    for (double v : {0.0, -0.0, 3.14159, -2.5e-7, 1e300, 4.9e-324, HUGE_VAL, -HUGE_VAL, double{NAN},
                     -double{NAN}})
        expect_as_printf("%e|%E|%f|%F|%g|%G|%a|%A|%lf|%le", v, v, v, v, v, v, v, v, v, v);
    expect_as_printf("[%.0f|%#.0f|%+.3e|%10.4g|%-12.3a|%012.2f|% .1E]", 2.5, 2.5, 1234.5678, 0.0001,
                     1.0, -3.75, 9.99);
}

TEST_F(HistoryDeferred, StarWidthsAndPrecisions) {
    expect_as_printf("[%*d|%-*d|%*d]", 7, 42, 7, 42, -7, 42);
    expect_as_printf("[%.*d|%.*d|%*.*f]", 5, 42, -1, 42, 10, 3, 3.14159);
    expect_as_printf("[%.*s|%*s|%.*s]", 2, "abcdef", -8, "ab", -1, "whole");
    expect_as_printf("[%*c|%-*p]", 4, 'q', 20, static_cast<void *>(nullptr));
}

TEST_F(HistoryDeferred, FormatsThatAreNotDeferredReadBackTheSame) {
    expect_as_printf("%1$d and again %1$d, %2$s", 5, "positional");
    expect_as_printf("[%'d]", 1234567);
    expect_as_printf("[%Lf|%Le]", 2.5L, -1.25e10L);
    expect_as_printf("[%lc|%ls]", static_cast<wint_t>(L'w'), L"wide");
    expect_as_printf("[%5%|%y|%-#q]", 1);
    expect_as_printf("trailing %", 1);
    expect_as_printf("[%llf]", 1.5L); // glibc reads "ll" as long double
    expect_as_printf("[%lp|%hld|%llld]", static_cast<void *>(nullptr), 7L, 8LL);
    expect_as_printf("[%.5000d]", 3);                                  // a precision beyond
    expect_as_printf("[%-------------------------------------5d]", 4); // a long conversion
    expect_as_printf("[%5000d]", 3); // a width beyond what is deferred
    expect_as_printf("%d %d %d %d %d %d %d %d %d %d %d %d %d %d %d %d %d", 1, 2, 3, 4, 5, 6, 7, 8,
                     9, 10, 11, 12, 13, 14, 15, 16, 17);
    const std::string longest(1500, 'f');
    expect_as_printf((longest + " %d").c_str(), 99); // too long to be cached
    errno = EINVAL;
    expect_as_printf("[%m|%d]", 1); // errno at the time of the call
    errno = 0;
    EXPECT_EQ(newest(kSvc), "[" + std::string(std::strerror(EINVAL)) + "|1]");
}

TEST_F(HistoryDeferred, CallsThatCannotBeDeferredReadBackTheSame) {
    const char *volatile null_text = nullptr; // hidden from the compiler's format checks
    expect_as_printf("[%s|%d]", null_text, 1);
    expect_as_printf("[%*d]", 100000, 1); // a star width beyond what is deferred
    expect_as_printf("[%.*f]", 5000, 1.0);
    const std::string huge(70000, 'h');
    expect_as_printf("[%s]", huge.c_str()); // a string beyond what is copied
}

TEST_F(HistoryDeferred, CountingConversionIsRefusedAndKeepsNothing) {
    debug_history_log(kSvc, 0, 0, "before");
    const std::string uncached = std::string(1500, 'u') + "%n";
    for (const char *format : {"%d%n", "abc%hhn", "%1$n", "%-5lln", uncached.c_str()}) {
        long long written = -1;
        EXPECT_NE(debug_history_log(kSvc, 0, 0, format, 3, &written), 0) << format;
        EXPECT_EQ(written, -1) << format;
        EXPECT_EQ(debug_history_count(kSvc), 1u) << format;
    }
    EXPECT_EQ(newest(kSvc), "before");
}

TEST_F(HistoryDeferred, FormatMemoryReusedForAnotherFormat) {
    char buf[64];
    std::strcpy(buf, "first %d\n");
    debug_history_log(kSvc, 0, 0, buf, 1);
    std::strcpy(buf, "second %s\n");
    debug_history_log(kSvc, 0, 0, buf, "two");
    std::strcpy(buf, "third %d %x\n");
    debug_history_log(kSvc, 0, 0, buf, 3, 255u);
    std::strcpy(buf, "first %d\n");
    debug_history_log(kSvc, 0, 0, buf, 4);
    std::memset(buf, '%', sizeof buf - 1);
    buf[sizeof buf - 1] = '\0';
    ASSERT_EQ(debug_history_count(kSvc), 4u);
    EXPECT_STREQ(debug_history_event(kSvc, 0), "first 1\n");
    EXPECT_STREQ(debug_history_event(kSvc, 1), "second two\n");
    EXPECT_STREQ(debug_history_event(kSvc, 2), "third 3 ff\n");
    EXPECT_STREQ(debug_history_event(kSvc, 3), "first 4\n");
}

TEST_F(HistoryDeferred, FormatAndStringsFreedBeforeTheEventIsRead) {
    char *format = strdup("freed %s and %d\n");
    char *text = strdup("a freed string");
    debug_history_log(kSvc, 0, 0, format, text, 5);
    std::memset(format, 'x', std::strlen(format));
    std::memset(text, 'y', std::strlen(text));
    std::free(format);
    std::free(text);
    EXPECT_EQ(newest(kSvc), "freed a freed string and 5\n");
    const std::string dump = zt::history_dump(kSvc);
    EXPECT_NE(dump.find(" freed a freed string and 5\n"), std::string::npos) << dump;
}

TEST_F(HistoryDeferred, TextsOfSeveralEventsStayValidTogether) {
    debug_history_log(kSvc, 0, 0, "one %d", 1);
    debug_history_log(kSvc, 0, 0, "two %s", "2");
    const char *a = debug_history_event(kSvc, 0);
    const char *b = debug_history_event(kSvc, 1);
    const char *a_again = debug_history_event(kSvc, 0);
    EXPECT_STREQ(a, "one 1");
    EXPECT_STREQ(b, "two 2");
    EXPECT_EQ(a, a_again) << "reading an event twice gives the same text";
}

TEST_F(HistoryDeferred, FullFormatCacheLogsNewFormatsAsText) {
    // More distinct formats than the cache holds, all from one buffer: each reads back right.
    std::vector<std::string> want;
    char format[64];
    for (int k = 0; k < 2300; ++k) {
        std::snprintf(format, sizeof format, "format %d: %%d,%%s", k);
        debug_history_log(kSvc, 0, 0, format, k * 3, "s");
        want.push_back("format " + std::to_string(k) + ": " + std::to_string(k * 3) + ",s");
    }
    const uint32_t n = debug_history_count(kSvc);
    ASSERT_GT(n, 500u);
    for (uint32_t i = 0; i < n; ++i)
        ASSERT_STREQ(debug_history_event(kSvc, i), want[want.size() - n + i].c_str()) << i;
}

TEST_F(HistoryDeferred, ManyFormatsEachAtItsOwnAddress) {
    // More formats than the cache holds, each in a buffer of its own, all logged twice: the
    // table of pointers fills up and gives slots up, the texts stay right.
    std::vector<std::string> formats;
    for (int k = 0; k < 2300; ++k)
        formats.push_back("own " + std::to_string(k) + ": %d,%s");
    for (int round = 0; round < 2; ++round) {
        for (int k = 0; k < 2300; ++k) {
            debug_history_log(kSvc, 0, 0, formats[static_cast<size_t>(k)].c_str(), round, "x");
            ASSERT_EQ(newest(kSvc),
                      "own " + std::to_string(k) + ": " + std::to_string(round) + ",x");
        }
    }
}

TEST(HistoryRingBytes, DeferredEventTakesItsHeaderAndArguments) {
    // 24 bytes of header; ints 4 bytes each; a string its bytes and a NUL; padded to 8.
    ASSERT_EQ(debug_history_open(kSvc, 4800), 0);
    for (int i = 0; i < 1000; ++i)
        debug_history_log(kSvc, 0, 0, "%d,%d,%d", i, i, i); // 24 + 12 -> 40 bytes
    EXPECT_EQ(debug_history_count(kSvc), 4800u / 40u);
    debug_history_clear(kSvc);
    for (int i = 0; i < 1000; ++i)
        debug_history_log(kSvc, 0, 0, "%s", "abcdefg"); // 24 + 8 -> 32 bytes
    EXPECT_EQ(debug_history_count(kSvc), 4800u / 32u);
    debug_history_clear(kSvc);
    for (int i = 0; i < 1000; ++i)
        debug_history_log(kSvc, 0, 0, "no arguments at all"); // 24 bytes
    EXPECT_EQ(debug_history_count(kSvc), 4800u / 24u);
}

TEST(HistoryRingBytes, EventCutToTheRingLessHeaderAndNul) {
    ASSERT_EQ(debug_history_open(kSvc, 64), 0);
    const std::string big(1000, 'z');
    debug_history_log(kSvc, 0, 0, "%s", big.c_str());
    EXPECT_EQ(newest(kSvc), std::string(39, 'z'));
    debug_history_log(kSvc, 0, 0, "%5000d", 1); // formatted when logged
    EXPECT_EQ(newest(kSvc), std::string(39, ' '));
    debug_history_log(kSvc, 0, 0, "%d %s", 12345, big.c_str());
    EXPECT_EQ(newest(kSvc), "12345 " + std::string(33, 'z'));
    debug_history_log(kSvc, 0, 0, "%39d|%d", 7, 8); // ends exactly at the cut
    EXPECT_EQ(newest(kSvc), std::string(38, ' ') + "7");
}

// Seconds since the epoch of a dump line's "YYYY-mm-dd HH:MM:SS.uuuuuu" (local time).
double dump_time(const std::string &line) {
    tm local{};
    unsigned micros = 0;
    unsigned long long seq = 0;
    if (std::sscanf(line.c_str(), "%llu %d-%d-%d %d:%d:%d.%6u", &seq, &local.tm_year, &local.tm_mon,
                    &local.tm_mday, &local.tm_hour, &local.tm_min, &local.tm_sec, &micros) != 8)
        return -1;
    local.tm_year -= 1900;
    local.tm_mon -= 1;
    local.tm_isdst = -1;
    return static_cast<double>(std::mktime(&local)) + micros / 1e6;
}

double now_s() {
    timespec ts{};
    clock_gettime(CLOCK_REALTIME, &ts);
    return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) / 1e9;
}

TEST(HistoryTimes, DumpShowsTheRealTimeOfEachEvent) {
    ASSERT_EQ(debug_history_open(kSvc, 4096), 0);
    std::vector<double> at;
    for (int i = 0; i < 3; ++i) {
        if (i > 0) std::this_thread::sleep_for(std::chrono::milliseconds(20));
        at.push_back(now_s());
        debug_history_log(kSvc, 0, 0, "event %d", i);
    }
    const std::string dump = zt::history_dump(kSvc);
    size_t start = 0;
    for (size_t i = 0; i < 3; ++i) {
        const size_t end = dump.find('\n', start);
        ASSERT_NE(end, std::string::npos) << dump;
        const std::string line = dump.substr(start, end - start);
        // Within a millisecond of when it was logged (microseconds printed, clock interpolated).
        EXPECT_NEAR(dump_time(line), at[i], 1e-3) << line;
        start = end + 1;
    }
}

TEST(HistoryThreads, ConcurrentLoggingKeepsWholeEvents) {
    ASSERT_EQ(debug_history_open(kSvc, 0x80000), 0);
    const auto run = [](int id) {
        for (int i = 0; i < 20000; ++i) {
            if (i % 2 == 0)
                debug_history_log(kSvc, 0, 0, "thread %d event %d\n", id, i);
            else
                debug_history_log(kSvc, 0, 0, "%s:%d:%u\n", id == 0 ? "zero" : "one", id, i);
        }
    };
    std::thread a(run, 0), b(run, 1);
    a.join();
    b.join();
    const uint32_t n = debug_history_count(kSvc);
    ASSERT_GT(n, 1000u);
    for (uint32_t i = 0; i < n; ++i) {
        const std::string e = debug_history_event(kSvc, i);
        int id = -1, k = -1;
        char tail = 0;
        const bool first = std::sscanf(e.c_str(), "thread %d event %d%c", &id, &k, &tail) == 3;
        const bool second =
            (e.rfind("zero:0:", 0) == 0 || e.rfind("one:1:", 0) == 0) && e.back() == '\n';
        ASSERT_TRUE((first && tail == '\n' && (id == 0 || id == 1)) || second) << e;
    }
}

} // namespace
