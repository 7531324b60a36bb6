/* SPDX-License-Identifier: Apache-2.0 */
// A small streaming JSON writer (pretty-printed, two-space indent).
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace drelsim {

class Json {
  public:
    std::string out;

    Json &obj() { return open('{'); }
    Json &arr() { return open('['); }
    Json &end() {
        char c = stack_.back().close;
        bool empty = stack_.back().first;
        stack_.pop_back();
        if (!empty) newline();
        out += c;
        return *this;
    }
    Json &key(const std::string &k) {
        item();
        quote(k);
        out += ": ";
        pending_key_ = true;
        return *this;
    }
    Json &str(const std::string &s) { return item(), quote(s), *this; }
    Json &num(int64_t v) { return item(), out += std::to_string(v), *this; }
    Json &real(double v) {
        char b[32];
        snprintf(b, sizeof b, "%.3f", v);
        return item(), out += b, *this;
    }
    Json &boolean(bool b) { return item(), out += b ? "true" : "false", *this; }
    Json &null() { return item(), out += "null", *this; }

  private:
    struct Level {
        char close;
        bool first;
    };
    std::vector<Level> stack_;
    bool pending_key_ = false;

    Json &open(char c) {
        item();
        out += c;
        stack_.push_back({c == '{' ? '}' : ']', true});
        return *this;
    }
    void newline() {
        out += '\n';
        out.append(2 * stack_.size(), ' ');
    }
    void item() {
        if (pending_key_) {
            pending_key_ = false;
            return;
        }
        if (stack_.empty()) return;
        if (!stack_.back().first) out += ',';
        stack_.back().first = false;
        newline();
    }
    void quote(const std::string &s) {
        out += '"';
        for (unsigned char ch : s) {
            if (ch == '"' || ch == '\\')
                out += '\\', out += static_cast<char>(ch);
            else if (ch == '\n')
                out += "\\n";
            else if (ch == '\t')
                out += "\\t";
            else if (ch < 0x20 || ch >= 0x7f) {
                char b[8];
                snprintf(b, sizeof b, "\\u%04x", ch);
                out += b;
            } else
                out += static_cast<char>(ch);
        }
        out += '"';
    }
};

} // namespace drelsim
