// SPDX-License-Identifier: Apache-2.0
// The debug history against vsnprintf, over every format the library logs: each format of
// log_formats.inc (written by collect_log_formats from the library's sources) is logged with
// arguments of its types, several sets of them, and its event must read back as snprintf
// renders the same call, in a ring of the library's size and in one that cuts it short.
#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include <platform/platform.h>

namespace {

constexpr uint32_t kBig = 921;   // the library's ring size
constexpr uint32_t kSmall = 922; // 64 bytes: an event keeps 39 characters at most

// One set of arguments, one member per argument type the formats use.
struct values {
    const char *s;
    int i;
    unsigned u;
    long l;
    unsigned long ul;
    long long ll;
    unsigned long long ull;
    size_t z;
    int c;
    double d;
    const void *p;
    int width;
    int prec;
};

// The formats logged, the mismatches found.
struct tally {
    size_t formats = 0;
    std::vector<std::string> wrong;
};

// The newest event of `svc` against the reference text `want` (cut to what the ring keeps).
void compare(tally &t, uint32_t svc, size_t keep, const char *format, int rc, const char *want) {
    ++t.formats;
    const uint32_t n = debug_history_count(svc);
    const char *got = n == 0 ? nullptr : debug_history_event(svc, n - 1);
    const std::string expected = std::string(want).substr(0, keep);
    if (rc != 0 || got == nullptr || expected != got)
        t.wrong.push_back(std::string(format) + " -> \"" + (got ? got : "(none)") + "\", want \"" +
                          expected + "\"");
}

// Logs every collected format with `v` to `svc`, whose ring keeps `keep` characters.
void log_all(tally &t, uint32_t svc, size_t keep, const values &v) {
    static char want[1 << 16];
#define LOG_FORMAT(format, ...)                                                                    \
    do {                                                                                           \
        std::snprintf(want, sizeof want, format __VA_OPT__(, ) __VA_ARGS__);                       \
        const int rc = debug_history_log(svc, 0, 0, format __VA_OPT__(, ) __VA_ARGS__);            \
        compare(t, svc, keep, format, rc, want);                                                   \
    } while (0);
#include "log_formats.inc"
#undef LOG_FORMAT
}

const std::string kLong = std::string(3000, 'q') + "end";
int gAnchor = 0;

const values kSets[] = {
    {"zorv_drel_gbl_cfg_avl_get_params", 1234, 0x42D90001u, 5L, 6UL, 7LL, 8ULL, 9u, 'x', 2.5,
     &gAnchor, 3, 2},
    {"", 0, 0, 0, 0, 0, 0, 0, 'A', 0.0, nullptr, 0, 0},
    {"peer", -1, 1, -1L, 1UL, -1LL, 1ULL, 1u, ' ', -0.125, &kLong, -6, -1},
    {kLong.c_str(), INT_MIN, UINT_MAX, LONG_MIN, ULONG_MAX, LLONG_MIN, ULLONG_MAX, SIZE_MAX, 255,
     1e300, reinterpret_cast<const void *>(UINTPTR_MAX), 40, 50},
    {"%s%d%n", INT_MAX, 0x80000000u, LONG_MAX, 0, LLONG_MAX, 0, 0, '%', -1e-300,
     reinterpret_cast<const void *>(1), 0, 0},
};

TEST(LogFormats, EveryLibraryFormatReadsBackAsVsnprintfRendersIt) {
    ASSERT_EQ(debug_history_open(kBig, 0x80000), 0);
    ASSERT_EQ(debug_history_open(kSmall, 64), 0);
    tally t;
    for (const values &v : kSets) {
        log_all(t, kBig, 0x80000 - 25, v);
        log_all(t, kSmall, 39, v);
    }
    for (const std::string &w : t.wrong)
        ADD_FAILURE() << w;
    // The collector found the library's formats: a broken one would find few or none.
    EXPECT_GE(t.formats, 150u * 2 * std::size(kSets));
}

} // namespace
