// SPDX-License-Identifier: Apache-2.0
#include "yaml_tree.h"

#include <memory>
#include <unordered_map>
#include <yaml.h>

#include "input.h"

namespace drelsim {
namespace {

const YNode kMissing;

bool is_null_text(const yaml_event_t &e, const std::string &t) {
    return e.data.scalar.plain_implicit &&
           (t.empty() || t == "~" || t == "null" || t == "Null" || t == "NULL");
}

// A node being filled: its keys so far (maps), to find a key given twice.
struct Open {
    YNode node;
    std::unordered_map<std::string, int> keys; // key -> line where first given
};

class Builder {
  public:
    explicit Builder(const std::string &source) : source_(source) {}

    // Complains about line `line0` (0-based) and the field `field`.
    [[noreturn]] void fail(size_t line0, const std::string &what,
                           const std::string &field = "(YAML)") const {
        throw InputError(source_ + ":" + std::to_string(line0 + 1) + ": " + field_text(field) +
                         ": " + what);
    }

    // Where the node being read sits: "switches.A.interfaces[0]".
    std::string path() const {
        std::string p;
        for (const Open &o : stack_)
            if (o.node.is_map() && o.node.items.size() % 2 == 1)
                p += (p.empty() ? "" : ".") + o.node.items.back().text;
            else if (o.node.is_sequence())
                p += "[" + std::to_string(o.node.items.size()) + "]";
        return p;
    }

    // Adds a finished node to the innermost open one (or makes it the root).
    void add(YNode n) {
        if (stack_.empty()) return void(root_ = std::move(n));
        Open &top = stack_.back();
        if (top.node.is_map() && top.node.items.size() % 2 == 0) {
            if (!n.is_scalar() && !n.is_null())
                fail(static_cast<size_t>(n.line - 1), "expected a plain key, got a collection");
            auto [it, fresh] = top.keys.emplace(n.text, n.line);
            if (!fresh) {
                const std::string at = path();
                fail(static_cast<size_t>(n.line - 1),
                     "given twice (first on line " + std::to_string(it->second) +
                         "): expected each field once",
                     (at.empty() ? "" : at + ".") + n.text);
            }
        }
        top.node.items.push_back(std::move(n));
    }

    void open(YNode::Kind kind, size_t line0) {
        if (stack_.size() >= kMaxDepth)
            fail(line0, "nested deeper than " + std::to_string(kMaxDepth) + " levels");
        Open o;
        o.node.kind = kind;
        o.node.line = static_cast<int>(line0) + 1;
        stack_.push_back(std::move(o));
    }

    void close() {
        YNode n = std::move(stack_.back().node);
        stack_.pop_back();
        add(std::move(n));
    }

    // Handles one event; false at the end of the stream.
    bool event(const yaml_event_t &e) {
        const size_t line0 = e.start_mark.line;
        switch (e.type) {
        case YAML_DOCUMENT_START_EVENT:
            if (++documents_ > 1) fail(line0, "a second document starts here: expected one");
            return true;
        case YAML_ALIAS_EVENT: fail(line0, "an alias (*name): expected plain values");
        case YAML_SCALAR_EVENT: {
            YNode n;
            n.line = static_cast<int>(line0) + 1;
            n.text.assign(reinterpret_cast<const char *>(e.data.scalar.value),
                          e.data.scalar.length);
            n.kind = is_null_text(e, n.text) ? YNode::Kind::Null : YNode::Kind::Scalar;
            add(std::move(n));
            return true;
        }
        case YAML_SEQUENCE_START_EVENT: return open(YNode::Kind::Sequence, line0), true;
        case YAML_MAPPING_START_EVENT: return open(YNode::Kind::Map, line0), true;
        case YAML_SEQUENCE_END_EVENT:
        case YAML_MAPPING_END_EVENT: return close(), true;
        case YAML_STREAM_END_EVENT: return false;
        default: return true;
        }
    }

    YNode take() { return std::move(root_); }

  private:
    const std::string &source_;
    std::vector<Open> stack_;
    YNode root_;
    int documents_ = 0;
};

} // namespace

const YNode &YNode::operator[](const std::string &name) const {
    if (kind != Kind::Map) return kMissing;
    for (size_t i = 0; i + 1 < items.size(); i += 2)
        if (items[i].text == name) return items[i + 1];
    return kMissing;
}

YNode load_yaml(const std::string &text, const std::string &source) {
    yaml_parser_t parser;
    if (!yaml_parser_initialize(&parser)) throw std::bad_alloc();
    std::unique_ptr<yaml_parser_t, void (*)(yaml_parser_t *)> guard(&parser, yaml_parser_delete);
    yaml_parser_set_input_string(&parser, reinterpret_cast<const unsigned char *>(text.data()),
                                 text.size());
    Builder b(source);
    for (;;) {
        yaml_event_t e;
        if (!yaml_parser_parse(&parser, &e)) {
            if (parser.error == YAML_MEMORY_ERROR) throw std::bad_alloc();
            const yaml_mark_t &m = parser.problem_mark;
            b.fail(m.line,
                   std::string("expected well-formed YAML, ") +
                       (parser.problem ? parser.problem : "a syntax error"),
                   "(YAML syntax)");
        }
        std::unique_ptr<yaml_event_t, void (*)(yaml_event_t *)> ev(&e, yaml_event_delete);
        if (!b.event(e)) break;
    }
    YNode root = b.take();
    if (!root) root.kind = YNode::Kind::Null, root.line = 1;
    return root;
}

} // namespace drelsim
