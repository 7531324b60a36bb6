// SPDX-License-Identifier: Apache-2.0
// history_format.cpp - the argument layout of a format, the capture of one call's arguments and
// the rendering of an event's text (see history_format.h), and the format cache.
#include "history_format.h"

#include <cstdio>
#include <cstring>
#include <type_traits>

namespace zorvplat::history {
namespace {

// The size of each kind in the payload.
constexpr uint8_t kSizeOf[] = {
#define ZORV_HISTORY_SIZE(name, type) sizeof(type),
    ZORV_HISTORY_ARG_TYPES(ZORV_HISTORY_SIZE)
#undef ZORV_HISTORY_SIZE
        sizeof(int),
    sizeof(int),
    0,
};

// ---- Parsing -----------------------------------------------------------------------------------

// One conversion, from its '%' to its conversion character.
struct directive {
    uint32_t len;    // characters, '%' and conversion included
    bool known;      // a conversion the capture can defer
    bool percent;    // "%%"
    bool count;      // a %n conversion, with whatever comes between
    uint8_t stars;   // `*` width and precision, in this order when both
    bool width_star; // the first star is the width
    arg_kind kind;   // the argument's kind when known
    int16_t prec;    // literal precision, -1 none
};

constexpr const char *kFlags = "-+ #0";
constexpr uint32_t kLongestSpec = 32; // longer conversions are formatted when logged

bool is_digit(char c) {
    return c >= '0' && c <= '9';
}

// Reads a literal width or precision; false beyond kMaxField.
bool read_number(const char *s, uint32_t &i, int32_t &value) {
    int64_t v = 0;
    while (is_digit(s[i])) {
        v = v * 10 + (s[i++] - '0');
        if (v > kMaxField) return false;
    }
    value = static_cast<int32_t>(v);
    return true;
}

// The kind of an integer conversion under a length modifier ("", "hh", "h", "l", "ll", "j",
// "z", "t").
arg_kind integer_kind(bool is_signed, const char *len, uint32_t n) {
    if (n == 0 || len[0] == 'h') return is_signed ? kInt : kUint;
    if (n == 2 && len[0] == 'l') return is_signed ? kLlong : kUllong;
    switch (len[0]) {
    case 'l': return is_signed ? kLong : kUlong;
    case 'j': return is_signed ? kIntmax : kUintmax;
    case 'z': return is_signed ? kSsize : kSize;
    default: return is_signed ? kPtrdiff : kUptrdiff;
    }
}

// Validates the conversion f[0 .. s.len) strictly and fills in what it passes.
void classify(const char *f, directive &s) {
    const char conv = f[s.len - 1];
    uint32_t i = 1;
    while (i < s.len && std::strchr(kFlags, f[i]) != nullptr)
        ++i;
    int32_t number = 0;
    if (f[i] == '*') {
        s.width_star = true;
        ++s.stars;
        ++i;
    } else if (!read_number(f, i, number)) {
        return;
    }
    s.prec = -1;
    if (f[i] == '.') {
        ++i;
        if (f[i] == '*') {
            ++s.stars;
            s.prec = -2;
            ++i;
        } else if (!read_number(f, i, number)) {
            return;
        } else {
            s.prec = static_cast<int16_t>(number);
        }
    }
    const uint32_t len_at = i;
    while (i + 1 < s.len && std::strchr("hljzt", f[i]) != nullptr)
        ++i;
    const uint32_t len_n = i - len_at;
    if (i + 1 != s.len || s.len > kLongestSpec) return; // '$', 'L', 'q', a digit after '*'...
    const char *len = f + len_at;
    const bool len_ok =
        len_n <= 1 || (len_n == 2 && len[0] == len[1] && (len[0] == 'h' || len[0] == 'l'));
    if (!len_ok) return;
    switch (conv) {
    case 'd':
    case 'i': s.kind = integer_kind(true, len, len_n); break;
    case 'u':
    case 'o':
    case 'x':
    case 'X': s.kind = integer_kind(false, len, len_n); break;
    case 'c':
        if (len_n != 0) return; // wint_t
        s.kind = kInt;
        break;
    case 's':
        if (len_n != 0) return; // wide string
        s.kind = kStr;
        break;
    case 'p':
        if (len_n != 0) return;
        s.kind = kPointer;
        break;
    case 'e':
    case 'E':
    case 'f':
    case 'F':
    case 'g':
    case 'G':
    case 'a':
    case 'A':
        if (len_n > 1 || (len_n == 1 && len[0] != 'l')) return; // "ll" is long double to glibc
        s.kind = kDouble;
        break;
    default: return;
    }
    s.known = true;
}

// The conversion that starts at f[0] == '%'. Whatever may sit between '%' and a conversion
// character is stepped over first, so that a %n is found however it is written.
directive parse_directive(const char *f) {
    directive s{};
    uint32_t i = 1;
    while (f[i] != '\0' && std::strchr("-+ #0'I123456789*$.hlLqjzZt", f[i]) != nullptr)
        ++i;
    if (f[i] == '\0') {
        s.len = i;
        return s;
    }
    s.len = i + 1;
    s.count = f[i] == 'n';
    if (f[i] == '%') {
        s.percent = i == 1;
        s.known = s.percent;
        return s;
    }
    if (!s.count) classify(f, s);
    return s;
}

// Calls literal(begin, len) for each run of plain text and conv(begin, directive) for each
// conversion of `f`, in order, until one of them returns false.
template <typename Literal, typename Conv>
void walk(const char *f, Literal &&literal, Conv &&conv) {
    uint32_t i = 0;
    while (f[i] != '\0') {
        const char *pct = std::strchr(f + i, '%');
        const uint32_t end = pct == nullptr ? i + static_cast<uint32_t>(std::strlen(f + i))
                                            : static_cast<uint32_t>(pct - f);
        if (end > i && !literal(i, end - i)) return;
        if (pct == nullptr) return;
        const directive s = parse_directive(f + end);
        if (!conv(end, s)) return;
        i = end + s.len;
    }
}

// The layout of `f`, or its mode when it cannot be deferred.
void lay_out(format &f) {
    f.how = mode::deferred;
    f.args = 0;
    f.fixed = 0;
    walk(
        f.text, [](uint32_t, uint32_t) { return true; },
        [&f](uint32_t, const directive &s) {
            if (s.count) {
                f.how = mode::refused;
                return false;
            }
            if (s.percent) return true;
            if (!s.known || f.args + s.stars + 1u > kMaxArgs) f.how = mode::text;
            if (f.how == mode::text) return true; // go on looking for a %n
            for (uint8_t k = 0; k < s.stars; ++k) {
                f.kind[f.args] = k == 0 && s.width_star ? kWidthStar : kPrecStar;
                f.str_prec[f.args++] = -1;
                f.fixed = static_cast<uint16_t>(f.fixed + sizeof(int));
            }
            f.kind[f.args] = s.kind;
            f.str_prec[f.args++] = s.kind == kStr ? s.prec : -1;
            f.fixed = static_cast<uint16_t>(f.fixed + kSizeOf[s.kind]);
            return true;
        });
}

template <typename T> T get(const unsigned char *&at) {
    T v;
    std::memcpy(&v, at, sizeof v);
    at += sizeof v;
    return v;
}

} // namespace

// ---- Rendering ---------------------------------------------------------------------------------

namespace {

// snprintf of one conversion `conv` with its `*` values and its argument.
template <typename T>
int put_conversion(char *out, size_t room, const char *conv, uint8_t stars, const int *star, T v) {
    switch (stars) {
    case 0: return std::snprintf(out, room, conv, v);
    case 1: return std::snprintf(out, room, conv, star[0], v);
    default: return std::snprintf(out, room, conv, star[0], star[1], v);
    }
}

// Reads one argument of kind `k` from the payload and formats it.
int put_argument(char *out, size_t room, const char *conv, uint8_t stars, const int *star,
                 arg_kind k, const unsigned char *&fixed, const char *&str) {
    switch (k) {
#define ZORV_HISTORY_PUT(name, type)                                                               \
    case name: return put_conversion(out, room, conv, stars, star, get<type>(fixed));
        ZORV_HISTORY_ARG_TYPES(ZORV_HISTORY_PUT)
#undef ZORV_HISTORY_PUT
    default: {
        const char *s = str;
        str += std::strlen(s) + 1;
        return put_conversion(out, room, conv, stars, star, s);
    }
    }
}

} // namespace

uint32_t render(const format &f, const unsigned char *payload, char *out, uint32_t limit) noexcept {
    const unsigned char *fixed = payload;
    const char *str = reinterpret_cast<const char *>(payload + f.fixed);
    uint32_t pos = 0;
    const auto add = [&](const char *src, uint32_t n) {
        const uint32_t room = limit - pos;
        std::memcpy(out + pos, src, n < room ? n : room);
        pos += n < room ? n : room;
        return pos < limit;
    };
    walk(
        f.text, [&](uint32_t begin, uint32_t n) { return add(f.text + begin, n); },
        [&](uint32_t begin, const directive &s) {
            if (s.percent) return add("%", 1);
            char conv[kLongestSpec + 1];
            std::memcpy(conv, f.text + begin, s.len);
            conv[s.len] = '\0';
            int star[2] = {0, 0};
            for (uint8_t k = 0; k < s.stars; ++k)
                star[k] = get<int>(fixed);
            const int n =
                put_argument(out + pos, limit - pos + 1u, conv, s.stars, star, s.kind, fixed, str);
            const uint32_t room = limit - pos;
            pos += n < 0 ? 0 : static_cast<uint32_t>(n) < room ? static_cast<uint32_t>(n) : room;
            return pos < limit;
        });
    out[pos] = '\0';
    return pos;
}

bool writes_count(const char *text) noexcept {
    bool found = false;
    walk(
        text, [](uint32_t, uint32_t) { return true; },
        [&found](uint32_t, const directive &s) {
            found = s.count;
            return !found;
        });
    return found;
}

// ---- The cache ---------------------------------------------------------------------------------

namespace {

uint32_t text_slot(const char *text, uint32_t len) {
    uint32_t h = 2166136261u; // FNV-1a
    for (uint32_t i = 0; i < len; ++i)
        h = (h ^ static_cast<unsigned char>(text[i])) * 16777619u;
    return h;
}

} // namespace

const format *format_cache::learn(const char *text) noexcept {
    const auto len = static_cast<uint32_t>(::strnlen(text, kLongest + 1));
    if (len > kLongest) return nullptr;
    uint32_t slot = text_slot(text, len);
    for (;; ++slot) {
        const uint16_t at = by_text_[slot & (kTextSlots - 1)];
        if (at == 0) break;
        const format &f = formats_[at - 1];
        if (f.len == len && std::memcmp(f.text, text, len) == 0) {
            remember_pointer(text, at - 1u);
            return &f;
        }
    }
    if (count_ == kFormats || text_used_ + len + 1 > kTextBytes) return nullptr;
    format &f = formats_[count_];
    char *copy = texts_ + text_used_;
    std::memcpy(copy, text, len + 1);
    text_used_ += len + 1;
    f.text = copy;
    f.len = len;
    lay_out(f);
    by_text_[slot & (kTextSlots - 1)] = static_cast<uint16_t>(count_ + 1);
    remember_pointer(text, count_);
    return &formats_[count_++];
}

void format_cache::remember_pointer(const char *text, uint32_t index) noexcept {
    const uint32_t h = pointer_slot(text);
    for (uint32_t i = 0; i < kProbe; ++i) {
        by_pointer &s = pointers_[(h + i) & (kPointerSlots - 1)];
        if (s.text == nullptr || s.text == text) {
            s = by_pointer{text, index};
            return;
        }
    }
    pointers_[(h + evict_++ % kProbe) & (kPointerSlots - 1)] = by_pointer{text, index};
}

void format_cache::clear() noexcept {
    std::memset(pointers_, 0, sizeof pointers_);
    std::memset(by_text_, 0, sizeof by_text_);
    count_ = 0;
    text_used_ = 0;
}

} // namespace zorvplat::history
