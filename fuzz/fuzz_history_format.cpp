// SPDX-License-Identifier: Apache-2.0
// fuzz_history_format.cpp - random printf formats and arguments through the debug history and
// through snprintf: every event must read back as snprintf renders the call (cut to the ring's
// limit), a call snprintf fails must be refused and keep nothing, and a %n must be refused.
//
// Input: byte 0 picks a ring size, byte 1 the argument types of the call (a shape); the rest
// drives the format (text, conversions with flags, widths, precisions and length modifiers to
// suit each argument, `*` taken from int arguments, conversions that read no argument) and the
// argument values. Each call is logged from a heap copy of its format, again (the cached
// format), after the copy has been overwritten with another format, and once more after the
// original is restored; the format and the strings are freed before the events are dumped.
#include <cerrno>
#include <cstddef>
#include <memory>
#include <string>
#include <tuple>
#include <type_traits>

#include "fuzz_common.h"

namespace {

// The bytes of the input, read front to back; zeros once they run out.
class reader {
  public:
    reader(const uint8_t *p, size_t n) : p_(p), n_(n) {}
    uint8_t byte() { return i_ < n_ ? p_[i_++] : 0; }
    template <typename T> T value() {
        T v{};
        unsigned char raw[sizeof(T)] = {};
        for (unsigned char &b : raw)
            b = byte();
        std::memcpy(&v, raw, sizeof v);
        return v;
    }
    bool more() const { return i_ < n_; }

  private:
    const uint8_t *p_;
    size_t n_, i_ = 0;
};

constexpr uint32_t kSizes[] = {64, 100, 256, 4096, 0x80000};
constexpr uint32_t kFirstSvc = 7100;

// The argument types of one call.
using shapes = std::tuple<
    std::tuple<int>, std::tuple<const char *>, std::tuple<double>, std::tuple<int, int, int>,
    std::tuple<const char *, int, int, int>, std::tuple<const void *, const char *>,
    std::tuple<long, unsigned long, long long, unsigned long long>,
    std::tuple<unsigned long, long, long, unsigned long, long>,
    std::tuple<int, double, int, double, const char *, unsigned>,
    std::tuple<int, int, double, int, int, const char *, int, int, const void *, int, int, long>,
    std::tuple<const char *, const char *, const char *, int, int, int, int, int, int, int>,
    std::tuple<double, double, double, double, double, double, double, double, double, double>,
    std::tuple<int, const char *, int, double, const void *, long, int, int, const char *, double,
               unsigned, int>>;

// Conversions and length modifiers that suit an argument of type T.
template <typename T> struct suits;
template <> struct suits<int> {
    static constexpr const char *lengths[] = {"", "", "h", "hh"};
    static constexpr const char *convs = "ddic";
};
template <> struct suits<unsigned> {
    static constexpr const char *lengths[] = {"", "h", "hh"};
    static constexpr const char *convs = "uxXo";
};
// On this host size_t, uintmax_t are unsigned long and ssize_t, intmax_t, ptrdiff_t long.
template <> struct suits<long> {
    static constexpr const char *lengths[] = {"l", "z", "j", "t"};
    static constexpr const char *convs = "di";
};
template <> struct suits<unsigned long> {
    static constexpr const char *lengths[] = {"l", "z", "j"};
    static constexpr const char *convs = "uxXo";
};
template <> struct suits<long long> {
    static constexpr const char *lengths[] = {"ll"};
    static constexpr const char *convs = "di";
};
template <> struct suits<unsigned long long> {
    static constexpr const char *lengths[] = {"ll"};
    static constexpr const char *convs = "uxXo";
};
template <> struct suits<double> {
    static constexpr const char *lengths[] = {"", "l"};
    static constexpr const char *convs = "eEfFgGaA";
};
template <> struct suits<const char *> {
    static constexpr const char *lengths[] = {""};
    static constexpr const char *convs = "s";
};
template <> struct suits<const void *> {
    static constexpr const char *lengths[] = {""};
    static constexpr const char *convs = "p";
};

// Conversions that read no argument; glibc prints an unknown one as it stands.
constexpr const char *kNoArgument[] = {"%%", "%m", "%5%", "%y", "%-#10y", "%%%%"};

// The format and arguments of one call, built from the input.
class call_builder {
  public:
    explicit call_builder(reader &in) : in_(in) {}

    // A value of type T for the next argument, with its conversion, or, for an int that is not
    // the last argument, perhaps the `*` width or precision of the next conversion.
    template <typename T> T arg(bool last) {
        text();
        if constexpr (std::is_same_v<T, int>) {
            const uint8_t role = last ? 0 : in_.byte() % 4;
            if (role == 1 && !width_star_ && !prec_star_) return star(width_star_);
            if (role == 2 && !prec_star_) return star(prec_star_);
        }
        T v = value<T>();
        conversion<T>();
        return v;
    }
    // Ends the format: some text, perhaps a '%' that makes snprintf fail, or a %n.
    void finish() {
        text();
        switch (in_.byte()) {
        case 1: format_ += "%"; break;
        case 2: format_ += "%d%n", counts_ = true; break;
        case 3: format_ += "%*.*lln", counts_ = true; break;
        default: break;
        }
    }
    const std::string &format() const { return format_; }
    bool counts() const { return counts_; } // holds a %n
    // Frees the strings the arguments point to.
    void free_strings() { strings_.clear(); }

  private:
    // A `*` value: mostly small, now and then beyond what is deferred.
    int star(bool &which) {
        which = true;
        switch (in_.byte()) {
        case 0xFF: return 100000;
        case 0xFE: return -100000;
        default: return in_.value<int16_t>() % 400; // below 0: left-justified, or no precision
        }
    }

    template <typename T> T value() {
        if constexpr (std::is_same_v<T, const char *>) {
            size_t n = in_.byte();
            if (n == 0xFF) n = 2000 + in_.byte() * 8u;
            std::string s;
            for (size_t i = 0; i < n; ++i) {
                const char c = static_cast<char>(in_.byte());
                s += c == '\0' ? 'z' : c;
            }
            strings_.push_back(std::make_unique<fuzz::exact>(s.c_str(), s.size() + 1));
            return reinterpret_cast<const char *>(strings_.back()->data());
        } else {
            return in_.value<T>();
        }
    }

    template <typename T> void conversion() {
        std::string directive = "%";
        const uint8_t flags = in_.byte();
        for (int i = 0; i < (flags & 3); ++i)
            directive += "-+ #0"[(flags >> (2 + 2 * i)) % 5];
        const uint8_t w = in_.byte(), p = in_.byte(), pick = in_.byte();
        if (width_star_)
            directive += '*';
        else if (w == 0xFF)
            directive += "5000"; // beyond what is deferred
        else if (w % 3 == 1)
            directive += std::to_string(w % 40);
        if (prec_star_)
            directive += ".*";
        else if (p % 3 == 1)
            directive += "." + std::to_string(p % 30);
        else if (p % 3 == 2)
            directive += ".";
        width_star_ = prec_star_ = false;
        directive += suits<T>::lengths[pick % std::size(suits<T>::lengths)];
        directive += suits<T>::convs[(pick >> 4) % std::strlen(suits<T>::convs)];
        format_ += directive;
    }

    // Plain text, and now and then a conversion that reads no argument.
    void text() {
        const uint8_t n = in_.byte() % 8;
        for (uint8_t i = 0; i < n; ++i) {
            const char c = static_cast<char>(in_.byte());
            if (c == '\0')
                format_ += kNoArgument[in_.byte() % std::size(kNoArgument)];
            else
                format_ += c == '%' ? std::string("%%") : std::string(1, c);
        }
    }

    reader &in_;
    std::string format_;
    std::vector<std::unique_ptr<fuzz::exact>> strings_;
    bool width_star_ = false, prec_star_ = false, counts_ = false;
};

[[noreturn]] void mismatch(const char *what, const std::string &format, const std::string &got,
                           const std::string &want) {
    std::fprintf(stderr, "format \"%s\"\n got  \"%s\"\n want \"%s\"\n", format.c_str(), got.c_str(),
                 want.c_str());
    fuzz::die(what);
}

// The newest event of `svc`, or a marker when there is none.
std::string newest(uint32_t svc) {
    const uint32_t n = debug_history_count(svc);
    const char *e = n == 0 ? nullptr : debug_history_event(svc, n - 1);
    return e == nullptr ? std::string("(no event)") : std::string(e);
}

// The dump of `svc`.
std::string dump_of(uint32_t svc) {
    char *buf = nullptr;
    size_t len = 0;
    FILE *f = open_memstream(&buf, &len);
    if (f == nullptr) fuzz::die("open_memstream");
    if (debug_history_dump(svc, f) != 0) fuzz::die("dump failed");
    std::fclose(f);
    std::string all(buf, len);
    std::free(buf);
    return all;
}

// What the dump shows of an event with text `t`: one trailing newline dropped, up to a NUL.
std::string dump_line(std::string t) {
    if (!t.empty() && t.back() == '\n') t.pop_back();
    return std::string(t.c_str()) + "\n";
}

template <typename... A> void run(reader &in, uint32_t svc, uint32_t keep) {
    call_builder b(in);
    std::tuple<A...> args;
    size_t k = 0;
    std::apply([&](auto &...a) { ((a = b.template arg<A>(++k == sizeof...(A))), ...); }, args);
    b.finish();
    const std::string &format = b.format();
    const int err = in.byte(); // what %m shows

    static char want[1 << 20];
    int n = -1;
    errno = err;
    if (!b.counts())
        n = std::apply(
            [&](auto... a) { return std::snprintf(want, sizeof want, format.c_str(), a...); },
            args);
    const std::string expected =
        n < 0 ? std::string() : std::string(want, std::min<size_t>(static_cast<size_t>(n), keep));

    auto copy = std::make_unique<fuzz::exact>(format.c_str(), format.size() + 1);
    const char *f = reinterpret_cast<const char *>(copy->data());
    const auto log = [&] {
        const std::string before = newest(svc);
        errno = err;
        const int rc =
            std::apply([&](auto... a) { return debug_history_log(svc, 0, 0, f, a...); }, args);
        if (n < 0) {
            if (rc == 0 || newest(svc) != before) fuzz::die("a refused call was kept");
        } else if (rc != 0) {
            fuzz::die("a call snprintf renders was refused");
        } else if (newest(svc) != expected.c_str()) {
            mismatch("event differs from snprintf", format, newest(svc), expected.c_str());
        }
    };
    log(); // a new format
    log(); // the cached one
    // Another format at the same address, then the first one again.
    const char *other = "another format at the same address";
    if (std::strlen(other) <= format.size()) {
        std::memcpy(copy->data(), other, std::strlen(other) + 1);
        if (debug_history_log(svc, 0, 0, f, 0) != 0 || newest(svc) != other)
            fuzz::die("a changed format was read from the cache");
        std::memcpy(copy->data(), format.c_str(), format.size() + 1);
        log();
    }
    if (n < 0) return;
    // With the format's and the strings' memory gone, the dump still renders the event.
    copy.reset();
    b.free_strings();
    const std::string line = dump_line(expected), dumped = dump_of(svc);
    if (dumped.size() < line.size() ||
        dumped.compare(dumped.size() - line.size(), line.size(), line) != 0)
        mismatch("dump differs from snprintf", format, dumped, line);
}

template <size_t I = 0> void run_shape(size_t shape, reader &in, uint32_t svc, uint32_t keep) {
    if constexpr (I < std::tuple_size_v<shapes>) {
        if (shape == I) {
            std::apply([&](auto... t) { run<decltype(t)...>(in, svc, keep); },
                       std::tuple_element_t<I, shapes>{});
            return;
        }
        run_shape<I + 1>(shape, in, svc, keep);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    platform_host_reset(); // an empty format cache each time: learning is fuzzed too
    reader in(data, size);
    const uint8_t ring = in.byte() % std::size(kSizes);
    const uint32_t svc = kFirstSvc + ring;
    if (debug_history_open(svc, kSizes[ring]) != 0) fuzz::die("open");
    const size_t shape = in.byte() % std::tuple_size_v<shapes>;
    const uint32_t keep = (kSizes[ring] & ~7u) - 25;
    run_shape(shape, in, svc, keep);
    return 0;
}

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t *data, size_t size, size_t max, unsigned) {
    return LLVMFuzzerMutate(data, size, max);
}
