/* SPDX-License-Identifier: Apache-2.0 */
// history_format.h - deferred formatting for the debug history: a printf format's argument
// layout, learnt once per format and cached; the capture of one call's raw arguments; and the
// text those arguments render to when the event is read. Not installed.
//
// What the capture keeps (the payload): the arguments that are not strings, in order, each in
// its own size (4 bytes for int and smaller, 8 for long, pointer and double), then every string
// argument, in order, copied with its NUL. A string is copied only as far as the conversion
// reads it (its precision) and at most `limit` bytes, the longest text an event may keep.
//
// The text is made by handing each conversion, with its own flags, width, precision and length,
// and its argument, to snprintf, and copying the literal parts; a conversion's output never
// depends on the ones before it, so the text is the one vsnprintf makes of the whole call (read
// in the locale of the reader; the library never changes it).
#ifndef PLATFORM_HISTORY_FORMAT_H
#define PLATFORM_HISTORY_FORMAT_H

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

namespace zorvplat::history {

constexpr uint32_t kMaxArgs = 16;      // arguments of a deferred format, `*` included
constexpr uint32_t kMaxField = 4095;   // largest width or precision a deferred event renders
constexpr uint32_t kMaxString = 65536; // longest string argument a deferred event copies

// How a format is logged.
enum class mode : uint8_t {
    deferred, // arguments kept raw, text made when read
    text,     // formatted when logged (a conversion the capture does not know, or too many)
    refused,  // holds %n: never logged
};

// A cached format: its own copy of the text and its argument layout.
struct format {
    const char *text;           // NUL-terminated copy, owned by the cache
    uint32_t len;               // strlen(text)
    mode how;                   // how calls of this format are logged
    uint8_t args;               // entries of kind[] in use
    uint16_t fixed;             // payload bytes of the arguments that are not strings
    uint8_t kind[kMaxArgs];     // each argument's type, in call order (arg_kind)
    int16_t str_prec[kMaxArgs]; // per argument: a string's literal precision, -1 none
};

// Every argument type a deferred format passes: name, C type. Strings are apart (kStr), and so
// are the `*` width and precision (int, with a bound check).
#define ZORV_HISTORY_ARG_TYPES(X)                                                                  \
    X(kInt, int)                                                                                   \
    X(kUint, unsigned)                                                                             \
    X(kLong, long)                                                                                 \
    X(kUlong, unsigned long)                                                                       \
    X(kLlong, long long)                                                                           \
    X(kUllong, unsigned long long)                                                                 \
    X(kIntmax, intmax_t)                                                                           \
    X(kUintmax, uintmax_t)                                                                         \
    X(kSsize, std::make_signed_t<size_t>)                                                          \
    X(kSize, size_t)                                                                               \
    X(kPtrdiff, ptrdiff_t)                                                                         \
    X(kUptrdiff, std::make_unsigned_t<ptrdiff_t>)                                                  \
    X(kDouble, double)                                                                             \
    X(kPointer, const void *)

enum arg_kind : uint8_t {
#define ZORV_HISTORY_KIND(name, type) name,
    ZORV_HISTORY_ARG_TYPES(ZORV_HISTORY_KIND)
#undef ZORV_HISTORY_KIND
        kWidthStar,
    kPrecStar,
    kStr,
};

// Copies n bytes; short copies (an event's arguments, a function name) stay inline, reading and
// writing nothing outside the n bytes.
inline void copy_small(unsigned char *to, const unsigned char *from, size_t n) noexcept {
    if (n >= 16) {
        if (n > 64) {
            std::memcpy(to, from, n);
            return;
        }
        for (size_t i = 0; i + 16 < n; i += 16)
            std::memcpy(to + i, from + i, 16);
        std::memcpy(to + n - 16, from + n - 16, 16);
    } else if (n >= 8) {
        std::memcpy(to, from, 8);
        std::memcpy(to + n - 8, from + n - 8, 8);
    } else if (n >= 4) {
        std::memcpy(to, from, 4);
        std::memcpy(to + n - 4, from + n - 4, 4);
    } else {
        for (size_t i = 0; i < n; ++i)
            to[i] = from[i];
    }
}

// Reads the arguments of one call of `f` (mode deferred) from `ap` and writes its payload to
// place(bytes), which returns where it goes. False, with nothing placed, when this call cannot
// be deferred (a null string, a `*` beyond kMaxField, a string longer than kMaxString, or
// place returning null): the caller then formats the call itself, from its arguments' start.
// Inline: it runs for every event.
template <typename Place>
inline bool store_args(const format &f, va_list ap, uint32_t limit, Place &&place) noexcept {
    unsigned char fixed[kMaxArgs * 8]; // the payload's first part, f.fixed bytes
    const char *str[kMaxArgs];         // string arguments in order...
    uint32_t str_len[kMaxArgs];        // ...and the bytes of each that are kept, NUL excluded
    uint32_t strings = 0;
    unsigned char *at = fixed;
    const auto put = [&at](auto v) {
        std::memcpy(at, &v, sizeof v);
        at += sizeof v;
    };
    uint64_t bytes = f.fixed;
    int last_prec = -1; // the value of a `*` precision just read
    for (uint32_t a = 0; a < f.args; ++a) {
        switch (f.kind[a]) {
#define ZORV_HISTORY_READ(name, type)                                                              \
    case name: put(va_arg(ap, type)); break;
            ZORV_HISTORY_ARG_TYPES(ZORV_HISTORY_READ)
#undef ZORV_HISTORY_READ
        case kWidthStar: {
            const int w = va_arg(ap, int);
            if (w < -static_cast<int>(kMaxField) || w > static_cast<int>(kMaxField)) return false;
            put(w);
            break;
        }
        case kPrecStar:
            last_prec = va_arg(ap, int);
            if (last_prec > static_cast<int>(kMaxField)) return false;
            put(last_prec);
            break;
        default: {
            const char *s = va_arg(ap, const char *);
            if (s == nullptr) return false;
            uint32_t most = limit < kMaxString ? limit : kMaxString + 1;
            const int prec = f.str_prec[a] == -2 ? last_prec : f.str_prec[a];
            if (prec >= 0 && static_cast<uint32_t>(prec) < most) most = static_cast<uint32_t>(prec);
            const auto n = static_cast<uint32_t>(::strnlen(s, most));
            if (n > kMaxString) return false;
            str[strings] = s;
            str_len[strings++] = n;
            bytes += n + 1u;
            break;
        }
        }
    }
    unsigned char *dst = place(bytes);
    if (dst == nullptr) return false;
    copy_small(dst, fixed, f.fixed);
    dst += f.fixed;
    for (uint32_t i = 0; i < strings; ++i) {
        copy_small(dst, reinterpret_cast<const unsigned char *>(str[i]), str_len[i]);
        dst[str_len[i]] = '\0';
        dst += str_len[i] + 1u;
    }
    return true;
}

// Renders the event of `f` whose payload is `payload` into out[0 .. limit] and returns its
// length: the first `limit` bytes at most of what vsnprintf makes of the call, NUL-terminated.
uint32_t render(const format &f, const unsigned char *payload, char *out, uint32_t limit) noexcept;
// True when `text` holds a %n conversion.
bool writes_count(const char *text) noexcept;

// Formats by identity: a table from format pointers to cached formats, checked against the
// cached copy on every hit (the memory behind a pointer may hold another format by now), and
// the cached formats themselves. All memory is taken once, with the cache: learning a format
// never allocates, and when the cache is full a new format is not cached (logged as text).
class format_cache {
  public:
    static constexpr uint32_t kFormats = 2048;      // cached formats at most
    static constexpr uint32_t kLongest = 1024;      // longer formats are not cached
    static constexpr uint32_t kTextBytes = 1 << 17; // room for the cached copies

    // The cached format for `text`, learnt now when new; null when it cannot be cached.
    const format *find(const char *text) noexcept {
        const uint32_t h = pointer_slot(text);
        for (uint32_t i = 0; i < kProbe; ++i) {
            const by_pointer &s = pointers_[(h + i) & (kPointerSlots - 1)];
            if (s.text == text) {
                const format &f = formats_[s.index];
                if (std::strcmp(f.text, text) == 0) return &f;
                break;
            }
            if (s.text == nullptr) break;
        }
        return learn(text);
    }
    // The cached format with index `i` (as index_of gives it).
    const format &at(uint32_t i) const noexcept { return formats_[i]; }
    uint32_t index_of(const format &f) const noexcept {
        return static_cast<uint32_t>(&f - formats_);
    }
    // Forgets every format; only when no event refers to one.
    void clear() noexcept;

  private:
    static constexpr uint32_t kPointerSlots = 4096;
    static constexpr uint32_t kTextSlots = 4096;
    static constexpr uint32_t kProbe = 4;
    struct by_pointer {
        const char *text; // the caller's format pointer last seen for this format
        uint32_t index;   // into formats_
    };

    static uint32_t pointer_slot(const char *p) noexcept {
        return static_cast<uint32_t>((reinterpret_cast<uintptr_t>(p) * 0x9E3779B97F4A7C15ull) >>
                                     52);
    }
    const format *learn(const char *text) noexcept;
    void remember_pointer(const char *text, uint32_t index) noexcept;

    by_pointer pointers_[kPointerSlots];
    uint16_t by_text_[kTextSlots]; // format index + 1, 0 free
    format formats_[kFormats];
    uint32_t count_ = 0;
    char texts_[kTextBytes];
    uint32_t text_used_ = 0;
    uint32_t evict_ = 0; // which probe slot a full run gives up next
};

} // namespace zorvplat::history

#endif
