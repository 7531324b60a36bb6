// SPDX-License-Identifier: Apache-2.0
// Debug history: rings per service, wraparound, event texts, open failures, dump, error texts.
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <map>
#include <regex>
#include <string>
#include <vector>

#include <platform/platform.h>

#include "zorv_test_new_probe.h"

namespace {

constexpr uint32_t kSvc = 911;
constexpr uint32_t kOther = 912;

std::vector<std::string> held(uint32_t svc) {
    std::vector<std::string> out;
    for (uint32_t i = 0; i < debug_history_count(svc); ++i) {
        const char *e = debug_history_event(svc, i);
        EXPECT_NE(e, nullptr) << i;
        if (e != nullptr) out.emplace_back(e);
    }
    return out;
}

std::string dump_text(uint32_t svc) {
    FILE *f = std::tmpfile();
    EXPECT_NE(f, nullptr);
    EXPECT_EQ(debug_history_dump(svc, f), 0);
    std::rewind(f);
    std::string s;
    char buf[4096];
    size_t n;
    while ((n = std::fread(buf, 1, sizeof buf, f)) > 0)
        s.append(buf, n);
    std::fclose(f);
    return s;
}

TEST(DebugHistory, LogWithoutOpenRingFailsAndKeepsNothing) {
    EXPECT_NE(debug_history_log(kSvc, 0, 0, "%s(%d): x\n", "f", 1), 0);
    EXPECT_EQ(debug_history_count(kSvc), 0u);
    EXPECT_EQ(debug_history_event(kSvc, 0), nullptr);
}

TEST(DebugHistory, EventsAreKeptAsFormattedInOrder) {
    ASSERT_EQ(debug_history_open(kSvc, 4096), 0);
    EXPECT_EQ(debug_history_log(kSvc, 0, 0, "%s(%d): Unsupported type:%d\n", "fn", 12, 3), 0);
    EXPECT_EQ(debug_history_log(kSvc, 0, 0, "%d)%d,%d ", 0, 5, 700), 0);
    EXPECT_EQ(debug_history_log(kSvc, 0, 0, "\n"), 0);
    EXPECT_EQ(debug_history_log(kSvc, 0, 0, "%s", ""), 0);
    std::vector<std::string> want = {"fn(12): Unsupported type:3\n", "0)5,700 ", "\n", ""};
    EXPECT_EQ(held(kSvc), want);
    EXPECT_EQ(debug_history_event(kSvc, 4), nullptr);
    EXPECT_EQ(debug_history_count(kOther), 0u) << "rings are per service";
}

TEST(DebugHistory, OpenOfAnOpenRingSucceedsAndKeepsEvents) {
    ASSERT_EQ(debug_history_open(kSvc, 4096), 0);
    debug_history_log(kSvc, 0, 0, "one");
    EXPECT_EQ(debug_history_open(kSvc, 128), 0);
    EXPECT_EQ(debug_history_open_instance(kSvc, 0, 0, 128, 0, 0), 0);
    EXPECT_EQ(held(kSvc), std::vector<std::string>{"one"});
}

TEST(DebugHistory, TooSmallRingIsRefused) {
    EXPECT_NE(debug_history_open(kSvc, 0), 0);
    EXPECT_NE(debug_history_open(kSvc, 63), 0);
    EXPECT_NE(debug_history_log(kSvc, 0, 0, "x"), 0);
    EXPECT_EQ(debug_history_open(kSvc, 64), 0);
    EXPECT_EQ(debug_history_log(kSvc, 0, 0, "x"), 0);
}

TEST(DebugHistory, FullRingDropsTheOldestEvents) {
    ASSERT_EQ(debug_history_open(kSvc, 256), 0);
    for (int i = 0; i < 1000; ++i)
        ASSERT_EQ(debug_history_log(kSvc, 0, 0, "event %d;", i), 0);
    std::vector<std::string> got = held(kSvc);
    ASSERT_GE(got.size(), 3u);
    EXPECT_LT(got.size(), 10u) << "a 256-byte ring cannot hold more";
    const int first = 1000 - static_cast<int>(got.size());
    for (size_t i = 0; i < got.size(); ++i)
        EXPECT_EQ(got[i], "event " + std::to_string(first + static_cast<int>(i)) + ";");
}

TEST(DebugHistory, WraparoundKeepsOrderWithEventsOfMixedSizes) {
    ASSERT_EQ(debug_history_open(kSvc, 1000), 0);
    std::vector<std::string> all;
    for (int i = 0; i < 500; ++i) {
        std::string text = std::to_string(i) + std::string(static_cast<size_t>(i * 7 % 90), 'x');
        all.push_back(text);
        ASSERT_EQ(debug_history_log(kSvc, 0, 0, "%s", text.c_str()), 0);
        std::vector<std::string> got = held(kSvc);
        ASSERT_FALSE(got.empty());
        // The held events are always the newest ones, consecutive, oldest first.
        std::vector<std::string> tail(all.end() - static_cast<long>(got.size()), all.end());
        ASSERT_EQ(got, tail) << "after event " << i;
        size_t bytes = 0;
        for (const auto &e : got)
            bytes += e.size();
        ASSERT_LE(bytes, 1000u);
        // Only the oldest events make room: once wrapped, most of the ring stays in use.
        if (i >= 100) {
            ASSERT_GE(bytes + 25 * got.size(), 500u) << "after event " << i;
        }
    }
}

TEST(DebugHistory, EventLongerThanTheRingKeepsWhatFits) {
    ASSERT_EQ(debug_history_open(kSvc, 64), 0);
    debug_history_log(kSvc, 0, 0, "old");
    std::string big(1000, 'z');
    EXPECT_EQ(debug_history_log(kSvc, 0, 0, "%s", big.c_str()), 0);
    ASSERT_EQ(debug_history_count(kSvc), 1u);
    std::string got = debug_history_event(kSvc, 0);
    EXPECT_FALSE(got.empty());
    EXPECT_LT(got.size(), 64u);
    EXPECT_EQ(got, std::string(got.size(), 'z'));
}

TEST(DebugHistory, LongEventIsKeptWhole) {
    ASSERT_EQ(debug_history_open(kSvc, 0x80000), 0);
    std::string big(3000, 'q');
    big += "end";
    EXPECT_EQ(debug_history_log(kSvc, 0, 0, "<%s>", big.c_str()), 0);
    EXPECT_EQ(held(kSvc), std::vector<std::string>{"<" + big + ">"});
}

TEST(DebugHistory, LoggingDoesNotAllocate) {
    ASSERT_EQ(debug_history_open(kSvc, 2048), 0);
    debug_history_log(kSvc, 0, 0, "warm up %d", 0);
    zt::probe::start();
    for (int i = 0; i < 2000; ++i)
        debug_history_log(kSvc, 0, 0, "%s(%d): value %d\n", "f", i, i);
    zt::probe::stop();
    EXPECT_EQ(zt::probe::allocations.load(), 0);
    EXPECT_GT(debug_history_count(kSvc), 0u);
}

TEST(DebugHistory, LoggingNewFormatsDoesNotAllocate) {
    ASSERT_EQ(debug_history_open(kSvc, 2048), 0);
    debug_history_log(kSvc, 0, 0, "warm up %d", 0);
    char format[32];
    zt::probe::start();
    for (int i = 0; i < 300; ++i) {
        std::snprintf(format, sizeof format, "new format %d: %%s %%d", i);
        debug_history_log(kSvc, 0, 0, format, "f", i);
    }
    zt::probe::stop();
    EXPECT_EQ(zt::probe::allocations.load(), 0);
    EXPECT_STREQ(debug_history_event(kSvc, debug_history_count(kSvc) - 1), "new format 299: f 299");
}

TEST(DebugHistory, FailOpenFailsTheNextOpensAndCallsAreCounted) {
    EXPECT_EQ(debug_history_open_calls(kSvc), 0u);
    debug_history_fail_open(kSvc, 2);
    EXPECT_NE(debug_history_open(kSvc, 4096), 0);
    EXPECT_NE(debug_history_log(kSvc, 0, 0, "x"), 0);
    EXPECT_NE(debug_history_open(kSvc, 4096), 0);
    EXPECT_EQ(debug_history_open(kSvc, 4096), 0);
    EXPECT_EQ(debug_history_log(kSvc, 0, 0, "x"), 0);
    EXPECT_EQ(debug_history_open_calls(kSvc), 3u);
    EXPECT_EQ(debug_history_open_calls(kOther), 0u);
}

TEST(DebugHistory, FailOpenAlsoFailsOpenOfAnOpenRing) {
    ASSERT_EQ(debug_history_open(kSvc, 4096), 0);
    debug_history_log(kSvc, 0, 0, "kept");
    debug_history_fail_open(kSvc, 1);
    EXPECT_NE(debug_history_open(kSvc, 4096), 0);
    EXPECT_EQ(debug_history_open(kSvc, 4096), 0);
    EXPECT_EQ(held(kSvc), std::vector<std::string>{"kept"});
}

TEST(DebugHistory, OpenInstanceOpensTheRingAndIsNeitherCountedNorFailed) {
    debug_history_fail_open(kSvc, 5);
    EXPECT_EQ(debug_history_open_instance(kSvc, 0, 0, 4096, 0, 0), 0);
    EXPECT_EQ(debug_history_open_calls(kSvc), 0u);
    EXPECT_EQ(debug_history_log(kSvc, 3, 1, "via instance"), 0);
    EXPECT_EQ(held(kSvc), std::vector<std::string>{"via instance"});
    EXPECT_NE(debug_history_open(kSvc, 4096), 0) << "the pending failures still apply to open";
}

TEST(DebugHistory, ClearEmptiesButKeepsTheRingOpen) {
    ASSERT_EQ(debug_history_open(kSvc, 4096), 0);
    debug_history_log(kSvc, 0, 0, "a");
    debug_history_log(kSvc, 0, 0, "b");
    debug_history_clear(kSvc);
    EXPECT_EQ(debug_history_count(kSvc), 0u);
    EXPECT_EQ(debug_history_log(kSvc, 0, 0, "c"), 0);
    EXPECT_EQ(held(kSvc), std::vector<std::string>{"c"});
    debug_history_clear(kOther); // no ring: nothing happens
}

TEST(DebugHistory, DumpWritesOneLineAnEventWithSequenceAndTime) {
    ASSERT_EQ(debug_history_open(kSvc, 4096), 0);
    debug_history_log(kSvc, 0, 0, "%s(%d): first\n", "fn", 7);
    debug_history_log(kSvc, 0, 0, "%d)%d,%d ", 1, 2, 3);
    debug_history_log(kSvc, 0, 0, "last");
    const std::string text = dump_text(kSvc);
    const std::regex line(R"((\d+) \d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{6} (.*))");
    std::vector<std::string> lines;
    size_t start = 0;
    for (size_t nl; (nl = text.find('\n', start)) != std::string::npos; start = nl + 1)
        lines.push_back(text.substr(start, nl - start));
    EXPECT_EQ(start, text.size()) << "every line ends with a newline";
    ASSERT_EQ(lines.size(), 3u) << text;
    const char *want[] = {"fn(7): first", "1)2,3 ", "last"};
    for (size_t i = 0; i < 3; ++i) {
        std::smatch m;
        ASSERT_TRUE(std::regex_match(lines[i], m, line)) << lines[i];
        EXPECT_EQ(m[1].str(), std::to_string(i));
        EXPECT_EQ(m[2].str(), want[i]);
    }
}

TEST(DebugHistory, DumpNeedsARingAndAStream) {
    EXPECT_NE(debug_history_dump(kOther, stdout), 0);
    ASSERT_EQ(debug_history_open(kSvc, 4096), 0);
    EXPECT_NE(debug_history_dump(kSvc, nullptr), 0);
    EXPECT_EQ(dump_text(kSvc), "");
}

TEST(DebugHistory, NullFormatIsRefused) {
    ASSERT_EQ(debug_history_open(kSvc, 4096), 0);
    // Through a pointer, so that the compiler's format check lets the null through.
    int (*volatile log)(uint32_t, uint32_t, uint32_t, const char *, ...) = debug_history_log;
    EXPECT_NE(log(kSvc, 0, 0, nullptr), 0);
    EXPECT_EQ(debug_history_count(kSvc), 0u);
}

TEST(ErrorToString, KnowsPlatformCodes) {
    EXPECT_STREQ(error_to_string(0), "success");
    EXPECT_STREQ(error_to_string(TRACKED_ERR_BAD_BLOCK),
                 "tracked memory: block not live under the service");
    EXPECT_STREQ(error_to_string(TREE_ERR_EXISTS), "tree: an equal node exists");
    EXPECT_STREQ(error_to_string(TREE_ERR_NO_MEMORY), "tree: no memory");
    EXPECT_STREQ(error_to_string(TREE_ERR_NOT_FOUND), "tree: node not found");
    EXPECT_STREQ(error_to_string(TLV_ERR_NO_SPACE), "TLV array: no space");
    EXPECT_STREQ(error_to_string(TLV_ERR_END), "TLV array: end of array");
    EXPECT_STREQ(error_to_string(TLV_ERR_MALFORMED), "TLV array: malformed TLV");
    EXPECT_STREQ(error_to_string(BITSET_ERR_RANGE), "bitset: bit out of range");
    EXPECT_STREQ(error_to_string(BITSET_ERR_NO_MEMORY), "bitset: no memory");
}

TEST(ErrorToString, KnowsTheFeatureCodes) {
    EXPECT_STREQ(error_to_string(0x42D90001), "failure");
    EXPECT_STREQ(error_to_string(0x42D90002), "no memory");
    EXPECT_STREQ(error_to_string(0x42D90003), "invalid argument");
    EXPECT_STREQ(error_to_string(0x42D9002B), "parameter missing");
    // The compatibility-check codes 0x42D90038 onwards, one per parameter type.
    const char *types[] = {"1", "2", "5 or type 9", "6", "7", "8"};
    for (uint32_t i = 0; i < std::size(types); ++i)
        EXPECT_EQ(error_to_string(0x42D90038 + i),
                  std::string("type-1 compatibility check failed for type ") + types[i]);
    EXPECT_STREQ(error_to_string(0x41B70016), "peer manager: no record");
}

// The porting guide's table of error texts is what the host platform renders, for every code
// of the platform and of the library.
TEST(ErrorToString, PortingGuideListsEveryText) {
    std::ifstream guide(ZORV_SOURCE_DIR "/docs/porting.md");
    ASSERT_TRUE(guide.good());
    const std::regex row(R"re(^\| `0x([0-9A-F]{8})` \| [^|]+ \| "([^"]*)" \|$)re");
    std::map<uint32_t, std::string> listed;
    std::smatch m;
    for (std::string line; std::getline(guide, line);)
        if (std::regex_match(line, m, row))
            listed[static_cast<uint32_t>(std::stoul(m[1], nullptr, 16))] = m[2];
    const uint32_t codes[] = {0,
                              TRACKED_ERR_BAD_BLOCK,
                              TREE_ERR_EXISTS,
                              TREE_ERR_NO_MEMORY,
                              TREE_ERR_NOT_FOUND,
                              TLV_ERR_NO_SPACE,
                              TLV_ERR_END,
                              TLV_ERR_MALFORMED,
                              BITSET_ERR_RANGE,
                              BITSET_ERR_NO_MEMORY,
                              0x42D90001,
                              0x42D90002,
                              0x42D90003,
                              0x42D9002B,
                              0x42D90038,
                              0x42D90039,
                              0x42D9003A,
                              0x42D9003B,
                              0x42D9003C,
                              0x42D9003D,
                              0x41B70016};
    EXPECT_EQ(listed.size(), std::size(codes));
    for (uint32_t code : codes) {
        ASSERT_EQ(listed.count(code), 1u) << std::hex << code << " is not in the guide";
        EXPECT_EQ(listed[code], error_to_string(code)) << std::hex << code;
    }
}

TEST(ErrorToString, RendersAnythingElseAsUnknownHex) {
    EXPECT_STREQ(error_to_string(0x12345678), "unknown error 0x12345678");
    EXPECT_STREQ(error_to_string(0x42D90004), "unknown error 0x42d90004");
    EXPECT_STREQ(error_to_string(0xFFFFFFFF), "unknown error 0xffffffff");
    EXPECT_STREQ(error_to_string(1), "unknown error 0x00000001");
}

} // namespace
