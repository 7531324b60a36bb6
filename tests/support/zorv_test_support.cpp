// zorv_test_support.cpp - implementation of the shared test helpers.
#include "zorv_test_support.h"

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

tracked_mem_stats_t stats(int32_t mem_type) {
    tracked_mem_stats_t s{};
    tracked_mem_stats_get(kSvc, mem_type, &s);
    return s;
}

tlv_buf::tlv_buf(uint32_t capacity) : storage_((capacity + 7) / 8, 0), capacity_(capacity) {}

tlv_buf &tlv_buf::add(uint16_t type, const void *value, uint16_t len) {
    if (tlv_array_add(get(), capacity_, type, len, value, 1) != 0)
        throw std::runtime_error("tlv_buf: no space");
    return *this;
}

std::vector<uint8_t> make_vsi_all(uint32_t if_index, uint32_t vsi, uint32_t admin,
                                  uint32_t map_mode,
                                  const std::vector<std::pair<uint32_t, uint32_t>> &pairs,
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
        if (vlan < 4096) t->dot1q_bmp.bits[vlan / 8] |= static_cast<uint8_t>(0x80u >> (vlan % 8));
    std::strncpy(t->prof_name, prof_name.c_str(), 255);
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
