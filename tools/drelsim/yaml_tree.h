/* SPDX-License-Identifier: Apache-2.0 */
// One YAML (or JSON) document read strictly into a plain tree: a key given twice in a mapping,
// a second document, an alias or nesting beyond kMaxDepth is refused with file and line.
#pragma once

#include <string>
#include <vector>

namespace drelsim {

constexpr size_t kMaxDepth = 64; // deepest nesting of mappings and sequences accepted

struct YNode {
    enum class Kind { Missing, Null, Scalar, Sequence, Map };
    Kind kind = Kind::Missing; // Missing: looked up and not there
    int line = 0;              // 1-based line where the node starts
    std::string text;          // the scalar
    std::vector<YNode> items;  // sequence items; a map's keys and values alternate

    explicit operator bool() const { return kind != Kind::Missing; }
    bool is_null() const { return kind == Kind::Null; }
    bool is_scalar() const { return kind == Kind::Scalar; }
    bool is_sequence() const { return kind == Kind::Sequence; }
    bool is_map() const { return kind == Kind::Map; }
    // Entries of a sequence, or pairs of a map.
    size_t size() const { return kind == Kind::Map ? items.size() / 2 : items.size(); }
    const YNode &key(size_t i) const { return items[2 * i]; }
    const YNode &value(size_t i) const { return items[2 * i + 1]; }
    // The value of `name` in a map; a Missing node when there is none (or this is no map).
    const YNode &operator[](const std::string &name) const;
};

// The text of a scalar node; empty for any other node.
inline std::string scalar_text(const YNode &n) {
    return n.is_scalar() ? n.text : "";
}

// Parses `text`, named `source` in complaints; throws InputError "source:line: (YAML): ...".
// An empty document gives a Null root.
YNode load_yaml(const std::string &text, const std::string &source);

} // namespace drelsim
