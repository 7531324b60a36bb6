// SPDX-License-Identifier: Apache-2.0
// zorv_test_support.cpp - implementation of the shared test helpers. It calls no function of
// the library itself, so that tests which load the library on their own can use it.
#include "zorv_test_support.h"

#include <malloc.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>

namespace zt {

std::vector<std::string> events() {
    std::vector<std::string> out;
    const uint32_t n = debug_history_count(kSvc);
    for (uint32_t i = 0; i < n; ++i) {
        const char *e = debug_history_event(kSvc, i);
        if (e != nullptr) out.emplace_back(e);
    }
    return out;
}

size_t logs_containing(std::string_view part) {
    size_t n = 0;
    for (const auto &e : events())
        if (std::string_view(e).find(part) != std::string_view::npos) ++n;
    return n;
}

size_t log_count(std::string_view fn, std::string_view text) {
    size_t n = 0;
    for (const auto &e : events()) {
        std::string_view v(e);
        if (v.size() < fn.size() + 2 || v.substr(0, fn.size()) != fn || v[fn.size()] != '(')
            continue;
        size_t i = fn.size() + 1, digits = 0;
        while (i < v.size() && v[i] >= '0' && v[i] <= '9')
            ++i, ++digits;
        if (digits == 0 || i >= v.size() || v[i] != ')') continue;
        if (v.substr(i + 1) == text) ++n;
    }
    return n;
}

void expect_logs(std::string_view fn, std::initializer_list<std::string> texts) {
    for (const auto &text : texts)
        EXPECT_TRUE(has_log(fn, text)) << "no event " << fn << "(<line>)" << text << "\n"
                                       << dump_events();
}

size_t raw_count(std::string_view text) {
    size_t n = 0;
    for (const auto &e : events())
        if (e == text) ++n;
    return n;
}

std::string dump_events() {
    std::string out;
    for (const auto &e : events())
        out += "[" + e + "]\n";
    return out;
}

std::string history_dump(uint32_t svc) {
    char *buf = nullptr;
    size_t len = 0;
    FILE *f = open_memstream(&buf, &len);
    if (f == nullptr) return {};
    const int rc = debug_history_dump(svc, f);
    std::fclose(f);
    std::string out = rc == 0 ? std::string(buf, len) : std::string();
    std::free(buf);
    return out;
}

bool has_log_prefix(std::string_view fn, std::string_view text_prefix) {
    for (const auto &e : events()) {
        std::string_view v(e);
        if (v.substr(0, fn.size()) != fn || v.size() <= fn.size() || v[fn.size()] != '(') continue;
        const size_t close = v.find(')', fn.size());
        if (close == std::string_view::npos) continue;
        if (v.substr(close + 1, text_prefix.size()) == text_prefix) return true;
    }
    return false;
}

std::string hex(uint32_t v) {
    char b[16];
    std::snprintf(b, sizeof b, "%x", v);
    return b;
}

std::string rc_text(uint32_t rc) {
    return "0x" + hex(rc) + ", " + error_to_string(rc);
}

std::string rc_text(uint32_t rc, const char *tail) {
    return ": Failed (rc=" + rc_text(rc) + ") " + tail + "\n";
}

std::string get_next_line(uint32_t rc) {
    return ": failed (rc=" + rc_text(rc) + ") get_next_tlv\n";
}

tracked_mem_stats_t stats(int32_t mem_type) {
    tracked_mem_stats_t s{};
    tracked_mem_stats_get(kSvc, mem_type, &s);
    return s;
}

void unload_and_expect_all_returned(const tracked_mem_stats_t &before, uint64_t made,
                                    const std::function<bool()> &unload) {
    const auto loaded = stats();
    ASSERT_EQ(loaded.live_blocks, before.live_blocks + made);
    ASSERT_TRUE(unload());
    const auto after = stats();
    EXPECT_EQ(after.live_blocks, before.live_blocks);
    EXPECT_EQ(after.live_bytes, before.live_bytes);
    EXPECT_EQ(after.frees, loaded.frees + made);
    EXPECT_EQ(after.bad_frees, before.bad_frees);
    for (int32_t t = ZORV_DREL_LIB_MEM_NONE + 1; t < ZORV_DREL_LIB_MEM_MAX; ++t)
        EXPECT_EQ(live_blocks(t), 0u) << "memory type " << t;
}

repeat_growth measure_repeated(int warm_up, int times, const std::function<void()> &once) {
    for (int i = 0; i < warm_up; ++i)
        once();
    repeat_growth g;
    g.before = stats();
    g.heap_before = mallinfo2().uordblks;
    for (int i = 0; i < times; ++i)
        once();
    g.after = stats();
    g.heap_after = mallinfo2().uordblks;
    return g;
}

tlv_buf::tlv_buf(uint32_t capacity) : storage_((capacity + 7) / 8, 0), capacity_(capacity) {}

tlv_buf &tlv_buf::add(uint16_t type, const void *value, uint16_t len) {
    if (tlv_array_add(get(), capacity_, type, len, value, 1) != 0)
        throw std::runtime_error("tlv_buf: no space");
    return *this;
}

tlv_buf vsis(const std::vector<std::vector<uint8_t>> &values) {
    tlv_buf b;
    for (const auto &v : values)
        add_bytes(b, ZORV_TYPE1_INTF_VSI_ATTRIBUTES, v);
    return b;
}

tlv_buf memvnis(const std::vector<std::pair<uint32_t, uint32_t>> &bd_vni) {
    tlv_buf b;
    for (auto [bd, vni] : bd_vni)
        b.add(ZORV_TYPE1_GBL_MEMBER_VNI, member_vni_t{bd, vni});
    return b;
}

void append_cut_tlv(tlv_buf &b, uint16_t type, uint16_t claimed) {
    tlv_array_t *a = b.get();
    uint8_t *at = a->data + a->len;
    std::memcpy(at, &type, 2);
    std::memcpy(at + 2, &claimed, 2);
    a->len += 4;
}

std::vector<uint8_t> make_vsi_all(uint32_t if_index, uint32_t vsi, uint32_t admin,
                                  uint32_t map_mode, const pairs_t &pairs,
                                  const std::vector<uint32_t> &allowed_vlans,
                                  const std::string &prof_name) {
    std::vector<uint8_t> v(ZORV_VSI_ALL_FIXED_LEN + 8 * pairs.size(), 0);
    auto *h = reinterpret_cast<vsi_all_t *>(v.data());
    h->if_index = if_index;
    h->vsi = vsi;
    h->admin = admin;
    h->map_mode = map_mode;
    h->dyn_map_cnt = static_cast<uint32_t>(pairs.size());
    for (size_t i = 0; i < pairs.size(); ++i) {
        h->dyn_map[i].vni = pairs[i].first;
        h->dyn_map[i].dot1q = pairs[i].second;
    }
    vsi_all_tail_t *t = ZORV_VSI_ALL_TAIL(h, pairs.size());
    t->dot1q_bmp.len = 512;
    for (uint32_t vlan : allowed_vlans)
        zorv::bmp::set(t->dot1q_bmp, vlan); // a VLAN at or above 4096 is left out
    std::strncpy(t->prof_name, prof_name.c_str(), 255);
    return v;
}

std::vector<uint8_t> vsi_with_count(uint32_t if_index, uint32_t vsi, uint32_t admin,
                                    const pairs_t &pairs, int32_t count, uint32_t mode) {
    auto v = make_vsi_all(if_index, vsi, admin, mode, pairs);
    reinterpret_cast<vsi_all_t *>(v.data())->dyn_map_cnt = static_cast<uint32_t>(count);
    return v;
}

std::unique_ptr<encap_map_t> map_val(const std::string &name,
                                     const std::vector<std::pair<uint32_t, uint32_t>> &vlan_vni) {
    auto m = std::make_unique<encap_map_t>();
    std::memset(m.get(), 0, sizeof *m);
    std::memcpy(m->encap_name, name.data(),
                std::min<size_t>(name.size(), sizeof m->encap_name - 1));
    for (auto [v, vni] : vlan_vni)
        if (v < ZORV_DOT1Q_COUNT) m->dot1q_vni[v] = vni;
    return m;
}

std::vector<uint8_t> name_wire(const std::string &name) {
    std::vector<uint8_t> v(ZORV_ENCAP_NAME_WIRE_LEN, 0);
    std::memcpy(v.data(), name.data(), std::min<size_t>(name.size(), v.size()));
    return v;
}

encap_name_t name_rec(const std::string &name, uint32_t id) {
    encap_name_t r{};
    std::strncpy(r.encap_name, name.c_str(), sizeof r.encap_name - 1);
    r.id = id;
    return r;
}

vsi_encap_rng_t rng_val(uint32_t if_index, uint32_t vsi, const std::string &name,
                        const std::vector<uint32_t> &vlans, bool all) {
    vsi_encap_rng_t r{};
    r.if_index = if_index;
    r.vsi = vsi;
    std::strncpy(r.encap_name, name.c_str(), sizeof r.encap_name - 1);
    zorv::bmp::reset(r.dot1q_bmp);
    if (all) zorv::bmp::fill(r.dot1q_bmp, 0xFF);
    for (uint32_t v : vlans)
        zorv::bmp::set(r.dot1q_bmp, v);
    return r;
}

bitset_t *new_set() {
    void *p = std::calloc(1, BITSET_ROOT_BYTES);
    *static_cast<uint32_t *>(p) = 1024;
    return static_cast<bitset_t *>(p);
}

std::vector<tlv_item> tlvs(const tlv_array_t *a) {
    std::vector<tlv_item> out;
    uint32_t cursor = 0;
    uint16_t type = 0, len = 0;
    void *value = nullptr;
    while (tlv_array_next(a, &cursor, &type, &len, &value, 1) == 0) {
        const auto *p = static_cast<const uint8_t *>(value);
        out.push_back({type, std::vector<uint8_t>(p, p + len)});
    }
    return out;
}

void expect_global_tlvs(const std::vector<tlv_item> &t, const std::vector<std::string> &profiles,
                        const encap_map_t *map,
                        const std::vector<std::pair<uint32_t, uint32_t>> &bd_vni) {
    ASSERT_EQ(t.size(), profiles.size() + (map != nullptr ? 1 : 0) + bd_vni.size());
    size_t i = 0;
    for (const auto &name : profiles) {
        SCOPED_TRACE("TLV " + std::to_string(i));
        EXPECT_EQ(t[i].type, ZORV_TYPE1_GBL_ENCAP_PROFILE);
        EXPECT_EQ(t[i].value, name_wire(name));
        ++i;
    }
    if (map != nullptr) {
        SCOPED_TRACE("TLV " + std::to_string(i));
        EXPECT_EQ(t[i].type, ZORV_TYPE1_GBL_ENCAP_DOT1Q_MAP);
        ASSERT_EQ(t[i].value.size(), sizeof(encap_map_t));
        EXPECT_EQ(std::memcmp(t[i].value.data(), map, sizeof *map), 0);
        ++i;
    }
    for (auto [bd, vni] : bd_vni) {
        SCOPED_TRACE("TLV " + std::to_string(i));
        EXPECT_EQ(t[i].type, ZORV_TYPE1_GBL_MEMBER_VNI);
        EXPECT_EQ(read_as<member_vni_t>(t[i].value).bd, bd);
        EXPECT_EQ(read_as<member_vni_t>(t[i].value).vni, vni);
        ++i;
    }
}

std::vector<uint8_t> make_update(uint32_t is_delete, uint32_t if_index, const tlv_buf &array,
                                 bool with_header) {
    const uint32_t hdr = with_header ? ZORV_DREL_UPD_HDR_LEN : 0;
    std::vector<uint8_t> p(hdr + 12 + array.size(), 0);
    if (with_header) {
        const uint32_t one = 1;
        std::memcpy(p.data() + ZORV_DREL_UPD_RESP_PRESENT_OFF, &one, 4);
    }
    const uint32_t words[3] = {is_delete, if_index, array.size()};
    std::memcpy(p.data() + hdr, words, 12);
    std::memcpy(p.data() + hdr + 12, array.get(), array.size());
    return p;
}

} // namespace zt
