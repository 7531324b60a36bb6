/* SPDX-License-Identifier: Apache-2.0 */
// Type-1 TLV values and aligned TLV arrays as a peer manager builds and reads them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "model.h"

namespace drelsim {

using Bytes = std::vector<uint8_t>;

struct Tlv {
    uint16_t type = 0;
    Bytes value;
};

// An aligned TLV array (header word and TLVs) in a buffer with a few zero bytes of slack behind it.
Bytes build_array(const std::vector<Tlv> &tlvs);
// Bytes of the array proper (4 + header len) of an array built by build_array or received whole.
uint32_t array_bytes(const Bytes &array);

Tlv member_vni_tlv(uint32_t vni, uint32_t bd);
Tlv vsi_admin_tlv(uint32_t ifindex, uint32_t vsi, bool admin_up);
Tlv vsi_encap_tlv(uint32_t ifindex, const ServiceInstance &vsi);
Tlv vsi_all_tlv(uint32_t ifindex, const ServiceInstance &vsi);
Tlv encap_name_tlv(const std::string &name);
Tlv encap_map_tlv(const EncapProfile &profile);

// The TLVs of a whole array whose size has been checked; nothing when a TLV runs past the end.
std::optional<std::vector<Tlv>> split_array(const Bytes &array, std::string &error);

// A type-9 value read back; nothing when its length disagrees with its pair count.
struct VsiFacts {
    uint32_t if_index = 0;
    uint32_t vsi = 0;
    bool admin_up = false;
    uint32_t mode = 0;
    VlanMap pairs; // dot1q -> VNI
    std::string allowed;
    std::string profile;
};
std::optional<VsiFacts> decode_vsi_all(const Bytes &value);

std::string name_field(const Bytes &value, size_t offset); // NUL-terminated text, bounded

} // namespace drelsim
