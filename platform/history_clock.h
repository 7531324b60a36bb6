/* SPDX-License-Identifier: Apache-2.0 */
// history_clock.h - the debug history's event clock. An event keeps a raw tick count (the CPU's
// time-stamp counter where there is one: a few nanoseconds, against about twenty for reading the
// real-time clock); a reader turns ticks into real time by interpolating between an anchor taken
// before the first event and one taken when it reads. Not installed.
#ifndef PLATFORM_HISTORY_CLOCK_H
#define PLATFORM_HISTORY_CLOCK_H

#include <cstdint>
#include <ctime>

#if defined(__x86_64__) || defined(__i386__)
#include <x86intrin.h>
#endif

namespace zorvplat::history {

inline uint64_t realtime_ns() {
    timespec ts{};
    clock_gettime(CLOCK_REALTIME, &ts);
    return static_cast<uint64_t>(ts.tv_sec) * 1000000000u + static_cast<uint64_t>(ts.tv_nsec);
}

// Ticks of the event clock: constant-rate, or real-time nanoseconds where no counter is known.
inline uint64_t ticks() {
#if defined(__x86_64__) || defined(__i386__)
    return __rdtsc();
#else
    return realtime_ns();
#endif
}

// A tick count and the real time taken with it.
struct anchor {
    uint64_t ticks; // midway between two reads around the clock
    uint64_t ns;    // CLOCK_REALTIME

    static anchor now() {
        const uint64_t before = history::ticks();
        const uint64_t ns = realtime_ns();
        return anchor{before + (history::ticks() - before) / 2, ns};
    }
};

// The real time of tick count `t`, which lies between anchors `from` and `to`.
inline uint64_t ns_at(uint64_t t, const anchor &from, const anchor &to) {
    if (to.ticks <= from.ticks || t <= from.ticks) return from.ns;
    const __int128 span_ns = static_cast<__int128>(to.ns) - static_cast<__int128>(from.ns);
    const __int128 elapsed = static_cast<__int128>(t - from.ticks);
    return static_cast<uint64_t>(static_cast<__int128>(from.ns) +
                                 elapsed * span_ns / static_cast<__int128>(to.ticks - from.ticks));
}

} // namespace zorvplat::history

#endif
