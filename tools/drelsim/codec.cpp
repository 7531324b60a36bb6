// SPDX-License-Identifier: Apache-2.0
#include "codec.h"

#include <cstring>

#include <platform/debug_history.h>
#include <zorv_drel.h>

namespace drelsim {
namespace {

void put_u32(Bytes &b, size_t off, uint32_t v) {
    std::memcpy(b.data() + off, &v, 4);
}

uint32_t get_u32(const Bytes &b, size_t off) {
    uint32_t v = 0;
    std::memcpy(&v, b.data() + off, 4);
    return v;
}

void put_name(Bytes &b, size_t off, const std::string &name) {
    std::memcpy(b.data() + off, name.data(), std::min<size_t>(name.size(), ZORV_NAME_LEN - 1));
}

void put_bitmap(Bytes &b, size_t off, const VlanSet &set) {
    put_u32(b, off, 512);
    for (uint32_t v = 0; v < 4096; ++v)
        if (set.test(v)) b[off + 4 + v / 8] |= static_cast<uint8_t>(0x80u >> (v % 8));
}

VlanSet get_bitmap(const Bytes &b, size_t off) {
    VlanSet set;
    for (uint32_t v = 0; v < 4096; ++v)
        if (b[off + 4 + v / 8] & (0x80u >> (v % 8))) set.set(v);
    return set;
}

constexpr size_t kSlack = 16; // zero bytes behind every array we hand out

} // namespace

Bytes build_array(const std::vector<Tlv> &tlvs) {
    uint32_t size = 4;
    for (auto &t : tlvs)
        size += tlv_aligned_size(static_cast<uint32_t>(t.value.size()));
    Bytes buf(size + kSlack, 0);
    auto *array = reinterpret_cast<tlv_array_t *>(buf.data());
    for (auto &t : tlvs)
        tlv_array_add(array, size, t.type, static_cast<uint16_t>(t.value.size()), t.value.data(),
                      1);
    return buf;
}

uint32_t array_bytes(const Bytes &array) {
    return array.size() < 4 ? 0 : 4 + reinterpret_cast<const tlv_array_t *>(array.data())->len;
}

Tlv member_vni_tlv(uint32_t vni, uint32_t bd) {
    Tlv t{ZORV_TYPE1_GBL_MEMBER_VNI, Bytes(ZORV_MEMBER_VNI_LEN, 0)};
    put_u32(t.value, 0, bd);
    put_u32(t.value, 4, vni);
    return t;
}

Tlv vsi_admin_tlv(uint32_t ifindex, uint32_t vsi, bool admin_up) {
    Tlv t{ZORV_TYPE1_INTF_VSI_ADMIN, Bytes(ZORV_VSI_ADMIN_LEN, 0)};
    put_u32(t.value, 0, ifindex);
    put_u32(t.value, 4, vsi);
    put_u32(t.value, 8, admin_up ? 1 : 0);
    return t;
}

Tlv vsi_encap_tlv(uint32_t ifindex, const ServiceInstance &vsi) {
    Tlv t{ZORV_TYPE1_INTF_VSI_ENCAP_PROF, Bytes(ZORV_VSI_ENCAP_RNG_LEN, 0)};
    put_u32(t.value, 0, ifindex);
    put_u32(t.value, 4, vsi.id);
    put_name(t.value, 8, vsi.profile);
    put_bitmap(t.value, 264, vsi.allowed);
    return t;
}

Tlv vsi_all_tlv(uint32_t ifindex, const ServiceInstance &vsi) {
    const uint32_t n = static_cast<uint32_t>(vsi.vlan_to_vni.size());
    Tlv t{ZORV_TYPE1_INTF_VSI_ATTRIBUTES, Bytes(ZORV_VSI_ALL_FIXED_LEN + 8 * n, 0)};
    put_u32(t.value, 0, ifindex);
    put_u32(t.value, 4, vsi.id);
    put_u32(t.value, 8, vsi.admin_up ? 1 : 0);
    put_u32(t.value, 12, vsi.mode);
    put_u32(t.value, 16, n);
    size_t off = 20;
    for (auto &[vlan, vni] : vsi.vlan_to_vni) {
        put_u32(t.value, off, vni);
        put_u32(t.value, off + 4, vlan);
        off += 8;
    }
    put_bitmap(t.value, off, vsi.allowed);
    put_name(t.value, off + 516, vsi.profile);
    return t;
}

Tlv encap_name_tlv(const std::string &name) {
    Tlv t{ZORV_TYPE1_GBL_ENCAP_PROFILE, Bytes(ZORV_ENCAP_NAME_WIRE_LEN, 0)};
    put_name(t.value, 0, name);
    return t;
}

Tlv encap_map_tlv(const EncapProfile &p) {
    Tlv t{ZORV_TYPE1_GBL_ENCAP_DOT1Q_MAP, Bytes(ZORV_ENCAP_MAP_LEN, 0)};
    put_name(t.value, 0, p.name);
    for (auto &[vlan, vni] : p.vlan_to_vni)
        put_u32(t.value, 256 + 4 * vlan, vni);
    return t;
}

std::optional<std::vector<Tlv>> split_array(const Bytes &array, std::string &error) {
    std::vector<Tlv> out;
    if (array.empty()) return out;
    const auto *a = reinterpret_cast<const tlv_array_t *>(array.data());
    uint32_t cursor = 0;
    for (;;) {
        uint16_t type = 0, len = 0;
        void *value = nullptr;
        int rc = tlv_array_next(a, &cursor, &type, &len, &value, 1);
        if (rc == static_cast<int>(TLV_ERR_END)) return out;
        if (rc != 0) {
            error = std::string("TLV ") + std::to_string(out.size()) +
                    " cannot be read: " + error_to_string(static_cast<uint32_t>(rc));
            return std::nullopt;
        }
        const auto *p = static_cast<const uint8_t *>(value);
        out.push_back(Tlv{type, Bytes(p, p + len)});
    }
}

std::string name_field(const Bytes &value, size_t offset) {
    if (offset >= value.size()) return {};
    size_t max = std::min<size_t>(value.size() - offset, ZORV_NAME_LEN);
    const char *s = reinterpret_cast<const char *>(value.data() + offset);
    return std::string(s, strnlen(s, max));
}

std::optional<VsiFacts> decode_vsi_all(const Bytes &v) {
    if (v.size() < ZORV_VSI_ALL_FIXED_LEN) return std::nullopt;
    const uint32_t n = get_u32(v, 16);
    if (n > 4096 || v.size() != ZORV_VSI_ALL_FIXED_LEN + 8ull * n) return std::nullopt;
    VsiFacts f;
    f.if_index = get_u32(v, 0);
    f.vsi = get_u32(v, 4);
    f.admin_up = get_u32(v, 8) != 0;
    f.mode = get_u32(v, 12);
    for (uint32_t i = 0; i < n; ++i)
        f.pairs[get_u32(v, 20 + 8 * i + 4)] = get_u32(v, 20 + 8 * i);
    const size_t tail = 20 + 8 * n;
    f.allowed = vlan_ranges(get_bitmap(v, tail));
    f.profile = name_field(v, tail + 516);
    return f;
}

} // namespace drelsim
