// SPDX-License-Identifier: Apache-2.0
// collect_log_formats.cpp - writes the list of the library's printf formats for the debug
// history's differential test (test_log_formats.cpp): one line
//   LOG_FORMAT("format as spelt in the source", argument, ...)
// per distinct format, each argument an expression of the right type for its conversion (v.i for
// %d, v.s for %s, ...), so that the compiler checks every line against its format.
//
// How it finds the formats: every string literal of the source files named on the command line
// that holds a conversion (a '%' that does not start "%%") is a format; adjacent literals are
// joined as the compiler joins them, and comments and character literals are skipped. Every
// format the library logs is a literal: the ZLOG family's first argument and the pair texts its
// check drivers hand to ZLOG_AS; a few literals that it formats with snprintf come along, which
// does no harm. While the "%s(%d): " prefix is spelt in each literal, the prefix's arguments
// are part of each line; if the prefix moves into the logging macro, the literals that ZLOG and
// its kin pass lose it, and kPrefix below is the place to put it back.
//
// Usage: collect_log_formats <output> <source>...   A conversion it has no argument for is an
// error (exit status 1): extend kArgs.
#include <algorithm>
#include <fstream>
#include <iostream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

// Spelt before every collected format (empty while the literals carry the prefix themselves).
constexpr const char *kPrefix = "";

// The argument expression for a conversion character under a length modifier.
struct arg_rule {
    const char *length;
    const char *conversions;
    const char *expr;
};
constexpr arg_rule kArgs[] = {
    {"", "di", "v.i"},    {"", "uxXo", "v.u"},      {"", "c", "v.c"},     {"", "s", "v.s"},
    {"", "p", "v.p"},     {"", "eEfFgGaA", "v.d"},  {"l", "di", "v.l"},   {"l", "uxXo", "v.ul"},
    {"ll", "di", "v.ll"}, {"ll", "uxXo", "v.ull"},  {"z", "uxXo", "v.z"}, {"h", "di", "v.i"},
    {"hh", "di", "v.i"},  {"l", "eEfFgGaA", "v.d"},
};

struct literal {
    std::string spelling; // as in the source, quotes included
    std::string text;     // with escapes read (enough to find the conversions)
    int line;
};

// Reads the literal whose opening quote is src[i]; i ends past the closing quote.
literal read_literal(const std::string &src, size_t &i, int line) {
    literal l{"\"", "", line};
    for (++i; i < src.size() && src[i] != '"'; ++i) {
        l.spelling += src[i];
        if (src[i] == '\\' && i + 1 < src.size()) {
            l.spelling += src[++i];
            l.text += src[i] == '%' ? '%' : '\x01'; // an escape is never part of a conversion
        } else {
            l.text += src[i];
        }
    }
    ++i;
    l.spelling += '"';
    return l;
}

// Every literal of `src`, adjacent ones joined.
std::vector<literal> literals(const std::string &src) {
    std::vector<literal> out;
    int line = 1;
    bool joinable = false; // only blanks and comments since the last literal
    for (size_t i = 0; i < src.size();) {
        const char c = src[i];
        if (c == '\n' || c == ' ' || c == '\t' || c == '\r') {
            line += c == '\n';
            ++i;
        } else if (src.compare(i, 2, "//") == 0) {
            i = src.find('\n', i);
        } else if (src.compare(i, 2, "/*") == 0) {
            const size_t end = std::min(src.find("*/", i + 2), src.size());
            for (; i < end; ++i)
                line += src[i] == '\n';
            i = end + 2;
        } else if (c == '"') {
            literal l = read_literal(src, i, line);
            if (joinable) {
                out.back().spelling += " " + l.spelling;
                out.back().text += l.text;
            } else {
                out.push_back(l);
            }
            joinable = true;
        } else {
            if (c == '\'') { // a character literal
                const size_t end = src.find('\'', i + (src[i + 1] == '\\' ? 3 : 2));
                i = end == std::string::npos ? src.size() : end + 1;
            } else {
                ++i;
            }
            joinable = false;
        }
    }
    return out;
}

// The argument expressions of format `f`; false with `bad` set for a conversion not in kArgs.
bool arguments(const std::string &f, std::vector<std::string> &args, std::string &bad) {
    for (size_t i = f.find('%'); i != std::string::npos; i = f.find('%', i)) {
        size_t j = i + 1;
        if (f[j] == '%') {
            i = j + 1;
            continue;
        }
        while (j < f.size() && std::string("-+ #0").find(f[j]) != std::string::npos)
            ++j;
        for (int part = 0; part < 2; ++part) { // width, then precision
            if (part == 1 && f[j] == '.') ++j;
            if (f[j] == '*') {
                args.push_back(part == 0 ? "v.width" : "v.prec");
                ++j;
            }
            while (j < f.size() && f[j] >= '0' && f[j] <= '9')
                ++j;
        }
        const size_t len_at = j;
        while (j < f.size() && std::string("hljzt").find(f[j]) != std::string::npos)
            ++j;
        const std::string length = f.substr(len_at, j - len_at);
        const char conv = j < f.size() ? f[j] : '\0';
        bool found = false;
        for (const arg_rule &r : kArgs)
            if (length == r.length && conv != '\0' &&
                std::string(r.conversions).find(conv) != std::string::npos) {
                args.push_back(r.expr);
                found = true;
                break;
            }
        if (!found) {
            bad = f.substr(i, j + 1 - i);
            return false;
        }
        i = j + 1;
    }
    return true;
}

bool has_conversion(const std::string &text) {
    for (size_t i = text.find('%'); i != std::string::npos; i = text.find('%', i + 2))
        if (i + 1 >= text.size() || text[i + 1] != '%') return true;
    return false;
}

} // namespace

int main(int argc, char **argv) {
    if (argc < 3) {
        std::cerr << "usage: collect_log_formats <output> <source>...\n";
        return 2;
    }
    std::set<std::string> seen;
    std::ostringstream out;
    out << "// Generated by collect_log_formats from the library's sources: do not edit.\n";
    int status = 0;
    for (int a = 2; a < argc; ++a) {
        std::ifstream in(argv[a], std::ios::binary);
        if (!in) {
            std::cerr << "collect_log_formats: cannot read " << argv[a] << "\n";
            return 2;
        }
        std::stringstream src;
        src << in.rdbuf();
        for (const literal &l : literals(src.str())) {
            const std::string text = kPrefix + l.text;
            if (!has_conversion(text) || !seen.insert(l.spelling).second) continue;
            std::vector<std::string> args;
            std::string bad;
            if (!arguments(text, args, bad)) {
                std::cerr << argv[a] << ":" << l.line << ": collect_log_formats: no argument for "
                          << bad << "\n";
                status = 1;
                continue;
            }
            out << "LOG_FORMAT(";
            if (*kPrefix != '\0') out << '"' << kPrefix << "\" ";
            out << l.spelling;
            for (const std::string &e : args)
                out << ", " << e;
            out << ")\n";
        }
    }
    if (status != 0) return status;
    std::ofstream file(argv[1], std::ios::binary);
    file << out.str();
    return file ? 0 : 2;
}
