// SPDX-License-Identifier: Apache-2.0
#include "results.h"

#include <cstring>

namespace drelsim {
namespace {

class Writer {
  public:
    std::string out;
    void u32(uint32_t v) { out.append(reinterpret_cast<const char *>(&v), 4); }
    void f64(double v) { out.append(reinterpret_cast<const char *>(&v), 8); }
    void str(const std::string &s) {
        u32(static_cast<uint32_t>(s.size()));
        out += s;
    }
};

class Reader {
  public:
    explicit Reader(const std::string &s) : s_(s) {}
    bool ok = true;
    uint32_t u32() {
        uint32_t v = 0;
        take(&v, 4);
        return v;
    }
    double f64() {
        double v = 0;
        take(&v, 8);
        return v;
    }
    std::string str() {
        uint32_t n = u32();
        if (!ok || n > s_.size() - pos_) return ok = false, std::string();
        std::string r = s_.substr(pos_, n);
        pos_ += n;
        return r;
    }
    size_t count(size_t min_item_bytes) {
        uint32_t n = u32();
        if (!ok || n > (s_.size() - pos_) / min_item_bytes) ok = false;
        return ok ? n : 0;
    }
    bool done() const { return ok && pos_ == s_.size(); }

  private:
    void take(void *dst, size_t n) {
        if (!ok || n > s_.size() - pos_) {
            ok = false;
            return;
        }
        std::memcpy(dst, s_.data() + pos_, n);
        pos_ += n;
    }
    const std::string &s_;
    size_t pos_ = 0;
};

void put_row(Writer &w, const Row &r) {
    w.u32(r.type);
    w.str(r.param);
    w.str(r.value);
    w.u32(r.vni), w.u32(r.bd), w.u32(r.vsi), w.u32(r.admin_up), w.u32(r.mode);
    w.u32(static_cast<uint32_t>(r.pairs.size()));
    for (auto &[vlan, vni] : r.pairs)
        w.u32(vlan), w.u32(vni);
    w.str(r.allowed);
    w.str(r.profile);
    w.u32(r.has_map);
}

Row get_row(Reader &rd) {
    Row r;
    r.type = static_cast<uint16_t>(rd.u32());
    r.param = rd.str();
    r.value = rd.str();
    r.vni = rd.u32(), r.bd = rd.u32(), r.vsi = rd.u32();
    r.admin_up = rd.u32() != 0;
    r.mode = rd.u32();
    for (size_t n = rd.count(8); n > 0; --n) {
        uint32_t vlan = rd.u32();
        r.pairs[vlan] = rd.u32();
    }
    r.allowed = rd.str();
    r.profile = rd.str();
    r.has_map = rd.u32() != 0;
    return r;
}

void put_check(Writer &w, const CheckResult &c) {
    w.u32(c.run), w.u32(c.code);
}
CheckResult get_check(Reader &rd) {
    CheckResult c;
    c.run = rd.u32() != 0;
    c.code = rd.u32();
    return c;
}

void put_strings(Writer &w, const std::vector<std::string> &v) {
    w.u32(static_cast<uint32_t>(v.size()));
    for (auto &s : v)
        w.str(s);
}
std::vector<std::string> get_strings(Reader &rd) {
    std::vector<std::string> v;
    for (size_t n = rd.count(4); n > 0; --n)
        v.push_back(rd.str());
    return v;
}

void put_rows(Writer &w, const std::vector<Row> &rows) {
    w.u32(static_cast<uint32_t>(rows.size()));
    for (auto &r : rows)
        put_row(w, r);
}
std::vector<Row> get_rows(Reader &rd) {
    std::vector<Row> rows;
    for (size_t n = rd.count(40); n > 0 && rd.ok; --n)
        rows.push_back(get_row(rd));
    return rows;
}

void put_scope(Writer &w, const ScopeResult &s) {
    w.u32(s.peer_link), w.u32(s.ifindex);
    w.str(s.if_name);
    w.u32(s.local_scope), w.u32(s.peer_sent);
    w.str(s.refused);
    w.u32(s.local_tlvs), w.u32(s.peer_tlvs);
    put_check(w, s.graceful), put_check(w, s.strict), put_check(w, s.recheck);
    w.u32(static_cast<uint32_t>(s.failed.size()));
    for (auto &f : s.failed)
        w.u32(f.vni), w.u32(f.bd);
    w.u32(static_cast<uint32_t>(s.passed_count));
    w.u32(static_cast<uint32_t>(s.charged.size()));
    for (uint32_t v : s.charged)
        w.u32(v);
    put_rows(w, s.local_rows);
    put_rows(w, s.peer_rows);
    put_strings(w, s.notes);
}

ScopeResult get_scope(Reader &rd) {
    ScopeResult s;
    s.peer_link = rd.u32(), s.ifindex = rd.u32();
    s.if_name = rd.str();
    s.local_scope = rd.u32() != 0;
    s.peer_sent = rd.u32() != 0;
    s.refused = rd.str();
    s.local_tlvs = rd.u32(), s.peer_tlvs = rd.u32();
    s.graceful = get_check(rd), s.strict = get_check(rd), s.recheck = get_check(rd);
    for (size_t n = rd.count(8); n > 0; --n) {
        FailedVni f;
        f.vni = rd.u32();
        f.bd = rd.u32();
        s.failed.push_back(f);
    }
    s.passed_count = static_cast<int32_t>(rd.u32());
    for (size_t n = rd.count(4); n > 0; --n)
        s.charged.push_back(rd.u32());
    s.local_rows = get_rows(rd);
    s.peer_rows = get_rows(rd);
    s.notes = get_strings(rd);
    return s;
}

} // namespace

std::string encode_round(const RoundResult &r) {
    Writer w;
    w.u32(r.round);
    put_strings(w, r.feed_notes);
    w.u32(static_cast<uint32_t>(r.scopes.size()));
    for (auto &s : r.scopes)
        put_scope(w, s);
    const Timing &t = r.timing;
    w.f64(t.configure_ms), w.f64(t.export_ms), w.f64(t.exchange_ms), w.f64(t.check_ms);
    w.u32(static_cast<uint32_t>(t.bytes_sent >> 32)), w.u32(static_cast<uint32_t>(t.bytes_sent));
    w.u32(t.frames_sent);
    w.f64(t.cpu_ms), w.f64(t.library_ms);
    w.u32(static_cast<uint32_t>(t.cache_bytes >> 32)), w.u32(static_cast<uint32_t>(t.cache_bytes));
    return w.out;
}

bool decode_round(const std::string &body, RoundResult &r) {
    Reader rd(body);
    r.round = rd.u32();
    r.feed_notes = get_strings(rd);
    for (size_t n = rd.count(60); n > 0 && rd.ok; --n)
        r.scopes.push_back(get_scope(rd));
    Timing &t = r.timing;
    t.configure_ms = rd.f64(), t.export_ms = rd.f64(), t.exchange_ms = rd.f64(),
    t.check_ms = rd.f64();
    uint64_t hi = rd.u32();
    t.bytes_sent = hi << 32 | rd.u32();
    t.frames_sent = rd.u32();
    t.cpu_ms = rd.f64(), t.library_ms = rd.f64();
    hi = rd.u32();
    t.cache_bytes = hi << 32 | rd.u32();
    return rd.done();
}

} // namespace drelsim
