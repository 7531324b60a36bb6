/* SPDX-License-Identifier: Apache-2.0 */
// A small streaming JSON writer (pretty-printed, two-space indent) onto an output stream.
#pragma once

#include <cstdint>
#include <cstdio>
#include <ostream>
#include <string>
#include <vector>

namespace drelsim {

class Json {
  public:
    explicit Json(std::ostream &os) : out_(os) {}

    Json &obj() { return open('{'); }
    Json &arr() { return open('['); }
    Json &end() {
        char c = stack_.back().close;
        bool empty = stack_.back().first;
        stack_.pop_back();
        if (!empty) newline();
        out_ << c;
        return *this;
    }
    Json &key(const std::string &k) {
        item();
        quote(k);
        out_ << ": ";
        pending_key_ = true;
        return *this;
    }
    Json &str(const std::string &s) { return item(), quote(s), *this; }
    Json &num(int64_t v) { return item(), out_ << std::to_string(v), *this; }
    Json &real(double v) {
        char b[32];
        snprintf(b, sizeof b, "%.3f", v);
        return item(), out_ << b, *this;
    }
    Json &boolean(bool b) { return item(), out_ << (b ? "true" : "false"), *this; }
    Json &null() { return item(), out_ << "null", *this; }
    // A value that is JSON already (a whole report), indented to sit at this place.
    Json &raw(const std::string &json) {
        item();
        const std::string indent = "\n" + std::string(2 * stack_.size(), ' ');
        size_t end = json.size();
        while (end > 0 && json[end - 1] == '\n')
            --end;
        for (size_t i = 0; i < end; ++i)
            json[i] == '\n' ? out_ << indent : out_ << json[i];
        return *this;
    }

  private:
    struct Level {
        char close;
        bool first;
    };
    std::ostream &out_;
    std::vector<Level> stack_;
    bool pending_key_ = false;

    Json &open(char c) {
        item();
        out_ << c;
        stack_.push_back({c == '{' ? '}' : ']', true});
        return *this;
    }
    void newline() {
        out_ << '\n';
        out_ << std::string(2 * stack_.size(), ' ');
    }
    void item() {
        if (pending_key_) {
            pending_key_ = false;
            return;
        }
        if (stack_.empty()) return;
        if (!stack_.back().first) out_ << ',';
        stack_.back().first = false;
        newline();
    }
    void quote(const std::string &s) {
        out_ << '"';
        for (unsigned char ch : s) {
            if (ch == '"' || ch == '\\')
                out_ << '\\', out_ << static_cast<char>(ch);
            else if (ch == '\n')
                out_ << "\\n";
            else if (ch == '\t')
                out_ << "\\t";
            else if (ch < 0x20 || ch >= 0x7f) {
                char b[8];
                snprintf(b, sizeof b, "\\u%04x", ch);
                out_ << b;
            } else
                out_ << static_cast<char>(ch);
        }
        out_ << '"';
    }
};

} // namespace drelsim
