/* SPDX-License-Identifier: Apache-2.0 */
// Reading input files strictly: the error every refused input raises, the system's reason for an
// unreadable file, the checks that keep binary data and endless lines out, and values echoed in
// complaints cut to a readable length.
#pragma once

#include <stdexcept>
#include <string>

namespace drelsim {

// An input that cannot be used; the message starts with "file:line: " (or "file: " when no line
// applies) and says what was expected.
struct InputError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

constexpr size_t kMaxLine = 1 << 20; // longest line any input may have, in bytes
constexpr size_t kEchoMax = 80;      // longest value a complaint repeats

// The whole file `path`; throws InputError with the system's reason when it cannot be read.
std::string read_input(const std::string &path);

// Refuses text that holds a NUL or another control byte, or a line longer than kMaxLine, naming
// `source` and the line.
void check_text(const std::string &text, const std::string &source);

// Refuses a text that stops in the middle of a line, as a cut-short file does.
void check_complete(const std::string &text, const std::string &source);

// `value` quoted for a complaint: control bytes as \xNN; past kEchoMax characters it is cut and
// followed by its length: "abc..." (50000000 characters).
std::string echo(const std::string &value);

// A field path for a complaint, cut after 160 characters ("...").
std::string field_text(const std::string &path);

// The 1-based line of byte `offset` of `text`.
int line_of(const std::string &text, size_t offset);

} // namespace drelsim
