/* SPDX-License-Identifier: Apache-2.0 */
// What a peer process finds in one round, and its serialisation to the parent.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "model.h"

namespace drelsim {

// One printable parameter row with the facts that explain a difference.
struct Row {
    uint16_t type = 0;        // 8 member VNI, 9 service instance, 2 encap profile (types 1 and 2)
    std::string param;        // parameter name as the library prints it
    std::string value;        // value as the library prints it
    uint32_t vni = 0, bd = 0; // type 8
    uint32_t vsi = 0;         // type 9
    bool admin_up = false;    // type 9
    uint32_t mode = 0;        // type 9
    VlanMap pairs;            // type 9 dot1q map, or the profile's map
    std::string allowed;      // type 9 allowed VLANs, as ranges
    std::string profile;      // type 9 profile name, or the encap profile's name
    bool has_map = false;     // encap profile carries a dot1q map
};

struct CheckResult {
    bool run = false;
    uint32_t code = 0;
};

struct FailedVni {
    uint32_t vni = 0;
    uint32_t bd = 0; // 0: the VNI is not a member VNI here
};

// One scope (global, or one peer link) as one peer sees it.
struct ScopeResult {
    uint32_t peer_link = 0; // 0 for the global scope
    uint32_t ifindex = 0;   // local interface of the peer link, 0 if none here
    std::string if_name;
    bool local_scope = true; // the scope exists on this switch
    bool peer_sent = false;  // a valid frame for the scope came from the peer
    std::string refused;     // why the peer's frame was refused, if it was
    uint32_t local_tlvs = 0, peer_tlvs = 0;
    CheckResult graceful, strict, recheck;
    std::vector<FailedVni> failed;
    int32_t passed_count = 0;
    std::vector<uint32_t> charged; // service instances with a failed VNI
    std::vector<Row> local_rows, peer_rows;
    std::vector<std::string> notes;
};

struct Timing {
    double configure_ms = 0, export_ms = 0, exchange_ms = 0, check_ms = 0;
    double cpu_ms = 0;        // the peer's CPU time in the round
    double library_ms = 0;    // of which inside the library's entry points
    uint64_t cache_bytes = 0; // the library's live tracked memory at the end of the round
    uint64_t bytes_sent = 0;
    uint32_t frames_sent = 0;
};

struct RoundResult {
    uint32_t round = 0;
    std::vector<std::string> feed_notes; // configuration the library did not take
    std::vector<ScopeResult> scopes;
    Timing timing;
};

// Messages on the result pipe: a kind word, a length word, then the body.
enum : uint32_t { kMsgRound = 1, kMsgEvents = 2, kMsgFatal = 3 };

std::string encode_round(const RoundResult &r);
bool decode_round(const std::string &body, RoundResult &out);

} // namespace drelsim
