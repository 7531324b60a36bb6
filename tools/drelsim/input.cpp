// SPDX-License-Identifier: Apache-2.0
#include "input.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

namespace drelsim {

std::string read_input(const std::string &path) {
    std::unique_ptr<FILE, int (*)(FILE *)> f(std::fopen(path.c_str(), "rb"), std::fclose);
    if (!f) throw InputError(path + ": cannot read the file: " + std::strerror(errno));
    std::string text;
    char buf[65536];
    size_t n;
    while ((n = std::fread(buf, 1, sizeof buf, f.get())) > 0)
        text.append(buf, n);
    if (std::ferror(f.get()))
        throw InputError(path + ": cannot read the file: " + std::strerror(errno));
    return text;
}

void check_text(const std::string &text, const std::string &source) {
    int line = 1;
    size_t start = 0;
    for (size_t i = 0; i < text.size(); ++i) {
        const unsigned char c = static_cast<unsigned char>(text[i]);
        if (c == '\n') {
            ++line, start = i + 1;
            continue;
        }
        if (i - start >= kMaxLine)
            throw InputError(source + ":" + std::to_string(line) + ": a line longer than " +
                             std::to_string(kMaxLine) + " bytes: expected a configuration text");
        if (c < 0x20 && c != '\t' && c != '\r' && c != '\f') {
            char b[8];
            std::snprintf(b, sizeof b, "0x%02x", c);
            throw InputError(source + ":" + std::to_string(line) + ": binary data (byte " + b +
                             " in column " + std::to_string(i - start + 1) +
                             "): expected a configuration text");
        }
    }
}

void check_complete(const std::string &text, const std::string &source) {
    if (!text.empty() && text.back() != '\n')
        throw InputError(source + ":" + std::to_string(line_of(text, text.size())) +
                         ": the file ends in the middle of a line: expected a complete file (is "
                         "it truncated?)");
}

std::string echo(const std::string &value) {
    std::string out = "\"";
    const size_t shown = std::min(value.size(), kEchoMax);
    for (size_t i = 0; i < shown; ++i) {
        const unsigned char c = static_cast<unsigned char>(value[i]);
        if (c < 0x20 || c == 0x7f) {
            char b[8];
            std::snprintf(b, sizeof b, "\\x%02x", c);
            out += b;
        } else {
            out += static_cast<char>(c);
        }
    }
    if (shown == value.size()) return out + "\"";
    return out + "...\" (" + std::to_string(value.size()) + " characters)";
}

std::string field_text(const std::string &path) {
    return path.size() <= 2 * kEchoMax ? path : path.substr(0, 2 * kEchoMax) + "...";
}

int line_of(const std::string &text, size_t offset) {
    offset = std::min(offset, text.size());
    return 1 + static_cast<int>(std::count(text.begin(), text.begin() + offset, '\n'));
}

} // namespace drelsim
