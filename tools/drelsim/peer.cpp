// SPDX-License-Identifier: Apache-2.0
#include "peer.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <malloc.h>
#include <map>
#include <set>
#include <unistd.h>

#include <platform/platform.h>

#include "codec.h"
#include "drel_api.h"
#include "link.h"
#include "results.h"

namespace drelsim {
namespace {

constexpr uint32_t kSvc = ZORV_DREL_LIB_SERVICE_ID;

struct Fatal {
    std::string what;
};

std::string hex(uint32_t v) {
    char b[16];
    snprintf(b, sizeof b, "0x%x", v);
    return b;
}

std::string code_text(uint32_t code) {
    return hex(code) + " (" + error_to_string(code) + ")";
}

// CPU time of the calling thread, in milliseconds: what the library costs, whatever else the
// machine runs.
double thread_cpu_ms() {
    timespec t{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return static_cast<double>(t.tv_sec) * 1e3 + static_cast<double>(t.tv_nsec) / 1e6;
}

double ms_since(std::chrono::steady_clock::time_point t0) {
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - t0).count();
}

const tlv_array_t *as_array(const Bytes &b) {
    return b.empty() ? nullptr : reinterpret_cast<const tlv_array_t *>(b.data());
}

// What arrived from the peer and is not checked yet, by peer-link id (0 = global).
struct Received {
    std::map<uint32_t, Frame> frames;
    std::map<uint32_t, std::string> refused;
};

// One round's exchange: this switch's scopes in ascending peer-link order (0 = global), sent in
// turns; a scope is checked as soon as both sides are past it.
struct Exchange {
    std::vector<uint32_t> links;     // this switch's scopes, ascending
    size_t sent = 0;                 // of `links`
    std::map<uint32_t, Bytes> local; // sent and not checked yet
    Received rx;
    bool own_done = false, peer_done = false; // each side's end of frames
    int64_t peer_last = -1;                   // the highest scope the peer has sent
    bool corrupt = false;                     // corrupt the next frame sent (testing)
};

class Peer {
  public:
    // Works on `s` in place: the peer process holds a copy of its own.
    Peer(Scenario &s, const PeerOptions &o) : s_(s), o_(o), cfg_(s.sw[o.side]) {}
    void run();

  private:
    // Calls a library entry point, adding its CPU time to the round's library time.
    template <typename F, typename... A> auto lib(F f, A... a) {
        const double t0 = thread_cpu_ms();
        auto r = f(a...);
        round_.timing.library_ms += thread_cpu_ms() - t0;
        return r;
    }

    const Scenario &s_;
    PeerOptions o_;
    SwitchConfig &cfg_;
    DrelApi api_;
    RoundResult round_;

    void setup_platform();
    void configure();
    void apply_step(const Step &step);
    void apply_action(const Action &a);
    void set_vsi(uint32_t ifindex, const ServiceInstance &vsi);
    msg_t *update_msg(uint32_t is_delete, uint32_t if_index, const std::vector<Tlv> &tlvs);
    void extract(uint32_t if_index, const std::vector<Tlv> &tlvs);
    void cache_delete(uint32_t is_gbl, uint32_t if_index, const std::vector<Tlv> &tlvs);
    void rebuild_profiles(const std::vector<EncapProfile> &profiles);
    Bytes export_scope(uint32_t is_gbl, uint32_t ifindex);
    void exchange_and_check();
    void send_turn(Exchange &x);
    void receive_turn(Exchange &x);
    void check_ready(Exchange &x);
    ScopeResult check_scope(uint32_t link, const Bytes &local, const Received &rx);
    void run_checks(ScopeResult &r, const Bytes &local, const Bytes &remote);
    void collect_failed(ScopeResult &r, const type1_compat_result_t &fail);
    std::vector<Row> rows_of(const Bytes &array, bool global, std::vector<std::string> &notes);
    void info_rows(const std::vector<Tlv> &tlvs, std::vector<Row> &rows,
                   std::vector<std::string> &notes);
    void send_result(uint32_t kind, const std::string &body);
    void send_events();
};

void Peer::setup_platform() {
    drelm_host_set_pelk_oper_ver(cfg_.peer_link_version);
    drelm_host_set_mct(1);
    for (auto &i : cfg_.interfaces) {
        drelm_host_set_interface(i.ifindex, 1, i.peer_link);
        drelm_host_set_local_drel_if_index(i.peer_link, i.ifindex);
    }
    const auto context = static_cast<uint16_t>(system_context_id_get() & 0xFFFF);
    for (uint32_t bd : cfg_.fabric_bds)
        bdmgr_host_set_fabric_bd(context, bd, 1);
}

msg_t *Peer::update_msg(uint32_t is_delete, uint32_t if_index, const std::vector<Tlv> &tlvs) {
    const Bytes array = build_array(tlvs);
    const uint32_t param_len = array_bytes(array);
    Bytes payload(ZORV_DREL_UPD_HDR_LEN + sizeof(zorv_type1_upd_t) + param_len, 0);
    const uint32_t resp_present = 1;
    std::memcpy(payload.data() + ZORV_DREL_UPD_RESP_PRESENT_OFF, &resp_present, 4);
    zorv_type1_upd_t rec{is_delete, if_index, param_len};
    std::memcpy(payload.data() + ZORV_DREL_UPD_HDR_LEN, &rec, sizeof rec);
    std::memcpy(payload.data() + ZORV_DREL_UPD_HDR_LEN + sizeof rec, array.data(), param_len);
    msg_t *msg = msg_create(ZORV_DREL_OPC_TYPE1_UPD_HDR, payload.data(),
                            static_cast<uint32_t>(payload.size()));
    if (!msg) throw Fatal{"msg_create failed"};
    return msg;
}

// Live configuration: one update-record message through the extractor, as the peer manager does.
void Peer::extract(uint32_t if_index, const std::vector<Tlv> &tlvs) {
    if (tlvs.empty()) return;
    msg_t *msg = update_msg(0, if_index, tlvs);
    tlv_array_t *copy = nullptr;
    drelm_app_cmd_extract_info_t *info = nullptr;
    uint32_t num = 0, reserved = 0;
    uint32_t rc = lib(api_.param_extractor, msg, &copy, &num, &reserved, &info);
    const std::string where = if_index ? "interface " + hex(if_index) : "global";
    if (rc != 0) round_.feed_notes.push_back("update (" + where + ") refused: " + code_text(rc));
    for (uint32_t i = 0; rc == 0 && info && i < num && i < tlvs.size(); ++i)
        if (info[i].type == 0)
            round_.feed_notes.push_back("update (" + where + "): TLV " + std::to_string(i) +
                                        " of type " + std::to_string(tlvs[i].type) +
                                        " was not applied");
    tracked_free(kSvc, copy);
    tracked_free(kSvc, info);
    msg_destroy(msg);
}

// Deletions go through the direct cache update; no TLVs means "drop the whole interface".
void Peer::cache_delete(uint32_t is_gbl, uint32_t if_index, const std::vector<Tlv> &tlvs) {
    msg_t *msg = tlvs.empty() ? nullptr : update_msg(1, if_index, tlvs);
    uint32_t rc = lib(api_.cache_update, 1, is_gbl, if_index, msg);
    if (rc != 0)
        round_.feed_notes.push_back(
            "cache delete (" + (is_gbl ? std::string("global") : "interface " + hex(if_index)) +
            ") returned " + code_text(rc));
    if (msg) msg_destroy(msg);
}

void Peer::rebuild_profiles(const std::vector<EncapProfile> &profiles) {
    std::vector<Tlv> tlvs;
    for (auto &p : profiles) {
        tlvs.push_back(encap_name_tlv(p.name));
        if (!p.vlan_to_vni.empty()) tlvs.push_back(encap_map_tlv(p));
    }
    if (tlvs.empty()) return;
    const Bytes array = build_array(tlvs);
    uint32_t rc = lib(api_.cache_rebuild, as_array(array), 1, 0);
    if (rc != 0) round_.feed_notes.push_back("global rebuild returned " + code_text(rc));
}

void Peer::configure() {
    rebuild_profiles(cfg_.profiles);
    std::vector<Tlv> members;
    for (auto &[vni, bd] : cfg_.member_vnis)
        members.push_back(member_vni_tlv(vni, bd));
    extract(0, members);
    for (auto &iface : cfg_.interfaces) {
        std::vector<Tlv> tlvs;
        for (auto &v : iface.vsis) {
            tlvs.push_back(vsi_admin_tlv(iface.ifindex, v.id, v.admin_up));
            if (!v.profile.empty()) tlvs.push_back(vsi_encap_tlv(iface.ifindex, v));
            tlvs.push_back(vsi_all_tlv(iface.ifindex, v));
        }
        extract(iface.ifindex, tlvs);
    }
}

void Peer::set_vsi(uint32_t ifindex, const ServiceInstance &vsi) {
    Interface *iface = find_interface(cfg_, ifindex);
    ServiceInstance *old = iface ? find_vsi(*iface, vsi.id) : nullptr;
    // An attribute update without pairs keeps the cached map, so an emptied map needs a delete.
    if (old && !old->vlan_to_vni.empty() && vsi.vlan_to_vni.empty())
        cache_delete(0, ifindex, {vsi_all_tlv(ifindex, *old)});
    std::vector<Tlv> tlvs{vsi_admin_tlv(ifindex, vsi.id, vsi.admin_up)};
    if (!vsi.profile.empty()) tlvs.push_back(vsi_encap_tlv(ifindex, vsi));
    tlvs.push_back(vsi_all_tlv(ifindex, vsi));
    extract(ifindex, tlvs);
}

void Peer::apply_action(const Action &a) {
    Interface *iface = find_interface(cfg_, a.ifindex);
    ServiceInstance *vsi = iface ? find_vsi(*iface, a.vsi_id) : nullptr;
    switch (a.kind) {
    case ActionKind::SetMemberVni: extract(0, {member_vni_tlv(a.vni, a.bd)}); break;
    case ActionKind::DeleteMemberVni:
        cache_delete(1, 0, {member_vni_tlv(a.vni, cfg_.member_vnis[a.vni])});
        break;
    case ActionKind::SetServiceInstance: set_vsi(a.ifindex, a.vsi); break;
    case ActionKind::SetAdmin:
        extract(a.ifindex, {vsi_admin_tlv(a.ifindex, a.vsi_id, a.admin_up)});
        break;
    case ActionKind::DeleteServiceInstance:
        if (vsi) cache_delete(0, a.ifindex, {vsi_all_tlv(a.ifindex, *vsi)});
        break;
    case ActionKind::ClearInterface: cache_delete(0, a.ifindex, {}); break;
    case ActionKind::AddEncapProfile: rebuild_profiles({a.profile}); break;
    }
    drelsim::apply_action(cfg_, a);
}

void Peer::apply_step(const Step &step) {
    if (step.side != o_.side) return;
    for (auto &a : step.actions)
        apply_action(a);
}

Bytes Peer::export_scope(uint32_t is_gbl, uint32_t ifindex) {
    tlv_array_t *array = nullptr;
    uint32_t rc = lib(api_.get_params, is_gbl, ifindex, &array);
    if (rc != 0)
        round_.feed_notes.push_back("export of " +
                                    (is_gbl ? std::string("global") : "interface " + hex(ifindex)) +
                                    " parameters returned " + code_text(rc));
    if (!array) return {};
    const auto *p = reinterpret_cast<const uint8_t *>(array);
    Bytes out(p, p + 4 + array->len);
    out.resize(out.size() + 16, 0);
    tracked_free(kSvc, array);
    return out;
}

// The two peers take turns, so each holds the arrays of about one turn of each side at a time,
// however large the switch.
void Peer::send_turn(Exchange &x) {
    const uint64_t bytes = round_.timing.bytes_sent;
    while (!x.own_done && x.sent < x.links.size() &&
           round_.timing.bytes_sent - bytes < o_.turn_bytes) {
        const uint32_t link = x.links[x.sent++];
        const Interface *iface = link ? find_interface_by_link(cfg_, link) : nullptr;
        auto t0 = std::chrono::steady_clock::now();
        Bytes &array = x.local[link] = export_scope(link == 0, iface ? iface->ifindex : 0);
        round_.timing.export_ms += ms_since(t0);
        t0 = std::chrono::steady_clock::now();
        if (!send_frame(o_.link_fd, link ? kFrameInterface : kFrameGlobal, link,
                        iface ? iface->ifindex : 0, &array, x.corrupt, round_.timing.bytes_sent))
            throw Fatal{"peer link closed while sending"};
        round_.timing.exchange_ms += ms_since(t0);
        x.corrupt = false;
        ++round_.timing.frames_sent;
    }
    x.own_done = x.sent == x.links.size();
    const auto t0 = std::chrono::steady_clock::now();
    if (!send_frame(o_.link_fd, x.own_done ? kFrameEnd : kFrameTurn, 0, 0, nullptr, false,
                    round_.timing.bytes_sent))
        throw Fatal{"peer link closed while sending"};
    round_.timing.exchange_ms += ms_since(t0);
}

void Peer::receive_turn(Exchange &x) {
    const auto t0 = std::chrono::steady_clock::now();
    for (;;) {
        Frame f;
        std::string why;
        RecvStatus st = recv_frame(o_.link_fd, f, why);
        if (st == RecvStatus::LinkError) throw Fatal{why};
        if (f.kind == kFrameEnd) x.peer_done = true;
        if (f.kind == kFrameEnd || f.kind == kFrameTurn) break;
        const uint32_t link = f.kind == kFrameGlobal ? 0 : f.peer_link;
        x.peer_last = std::max<int64_t>(x.peer_last, link);
        if (st == RecvStatus::Refused)
            x.rx.refused[link] = why;
        else
            x.rx.frames[link] = std::move(f);
    }
    round_.timing.exchange_ms += ms_since(t0);
}

// Checks, in ascending order, every scope that neither side can send anything for any more.
void Peer::check_ready(Exchange &x) {
    const auto t0 = std::chrono::steady_clock::now();
    const Bytes none;
    for (;;) {
        int64_t link = -1;
        for (int64_t cand : {x.local.empty() ? -1 : int64_t{x.local.begin()->first},
                             x.rx.frames.empty() ? -1 : int64_t{x.rx.frames.begin()->first},
                             x.rx.refused.empty() ? -1 : int64_t{x.rx.refused.begin()->first}})
            if (cand >= 0 && (link < 0 || cand < link)) link = cand;
        if (link < 0) break;
        const bool own_past = x.sent == x.links.size() || link < int64_t{x.links[x.sent]};
        if (!own_past || !(x.peer_done || link <= x.peer_last)) break;
        const auto l = static_cast<uint32_t>(link);
        auto it = x.local.find(l);
        round_.scopes.push_back(check_scope(l, it == x.local.end() ? none : it->second, x.rx));
        if (it != x.local.end()) x.local.erase(it);
        x.rx.frames.erase(l), x.rx.refused.erase(l);
    }
    round_.timing.check_ms += ms_since(t0);
}

// The peer with the lower letter takes the first turn, so the two never both wait on a full
// socket; both stop after the turn in which each has sent its end.
void Peer::exchange_and_check() {
    Exchange x;
    x.corrupt = o_.corrupt;
    x.links.push_back(0);
    for (auto &i : cfg_.interfaces)
        x.links.push_back(i.peer_link);
    std::sort(x.links.begin(), x.links.end());
    do {
        if (o_.side == 0)
            send_turn(x), receive_turn(x);
        else
            receive_turn(x), send_turn(x);
        check_ready(x);
    } while (!(x.own_done && x.peer_done));
}

void Peer::info_rows(const std::vector<Tlv> &tlvs, std::vector<Row> &rows,
                     std::vector<std::string> &notes) {
    if (tlvs.empty()) return;
    const Bytes array = build_array(tlvs);
    drelm_app_info_t *info = nullptr;
    uint32_t rc = lib(api_.get_param_info, as_array(array), &info);
    if (rc != 0) notes.push_back("parameter rows: get_param_info returned " + code_text(rc));
    for (size_t i = 0; i < tlvs.size(); ++i) {
        Row r;
        r.type = tlvs[i].type;
        if (info && i < info->count) {
            const auto &e = info->entries[i];
            r.param = std::string(e.param_name, strnlen(e.param_name, sizeof e.param_name));
            r.value = std::string(e.param_value, strnlen(e.param_value, sizeof e.param_value));
        }
        const Bytes &v = tlvs[i].value;
        if (r.type == ZORV_TYPE1_GBL_MEMBER_VNI && v.size() == ZORV_MEMBER_VNI_LEN) {
            std::memcpy(&r.bd, v.data(), 4);
            std::memcpy(&r.vni, v.data() + 4, 4);
        } else if (auto f = decode_vsi_all(v); r.type == ZORV_TYPE1_INTF_VSI_ATTRIBUTES && f) {
            r.vsi = f->vsi, r.admin_up = f->admin_up, r.mode = f->mode;
            r.pairs = f->pairs, r.allowed = f->allowed, r.profile = f->profile;
        } else {
            notes.push_back("TLV of type " + std::to_string(r.type) + " has a malformed value");
            continue;
        }
        rows.push_back(std::move(r));
    }
    tracked_free(kSvc, info);
}

// Profiles are rendered here (the row builder takes only member VNIs and service instances).
std::vector<Row> Peer::rows_of(const Bytes &array, bool global, std::vector<std::string> &notes) {
    std::vector<Row> rows;
    std::string err;
    auto tlvs = split_array(array, err);
    if (!tlvs) {
        notes.push_back("parameter rows: " + err);
        return rows;
    }
    std::vector<Tlv> judged;
    for (auto &t : *tlvs) {
        if (global && t.type == ZORV_TYPE1_GBL_ENCAP_PROFILE) {
            Row r;
            r.type = 1;
            r.param = "Gbl Encap Profile";
            r.profile = name_field(t.value, 0);
            r.value = r.profile + " (no dot1q map)";
            rows.push_back(r);
        } else if (global && t.type == ZORV_TYPE1_GBL_ENCAP_DOT1Q_MAP &&
                   t.value.size() == ZORV_ENCAP_MAP_LEN) {
            Row r;
            r.type = 2;
            r.param = "Gbl Encap Dot1q Map";
            r.profile = name_field(t.value, 0);
            r.has_map = true;
            const auto *map = reinterpret_cast<const encap_map_t *>(t.value.data());
            for (uint32_t v = 0; v < 4096; ++v)
                if (map->dot1q_vni[v]) r.pairs[v] = map->dot1q_vni[v];
            r.value = lib(api_.encap_map_to_str, map, nullptr);
            while (!r.value.empty() && r.value.back() == ' ')
                r.value.pop_back();
            if (!rows.empty() && rows.back().type == 1 && rows.back().profile == r.profile)
                rows.back() = r;
            else
                rows.push_back(r);
        } else {
            judged.push_back(t);
        }
    }
    info_rows(judged, rows, notes);
    return rows;
}

void Peer::collect_failed(ScopeResult &r, const type1_compat_result_t &fail) {
    std::set<uint32_t> failed;
    for (int32_t v = fail.vni_set ? bitset_find(fail.vni_set, 0) : -1; v >= 0;
         v = static_cast<uint32_t>(v) >= ZORV_VNI_MAX ? -1 : bitset_find(fail.vni_set, v + 1))
        failed.insert(static_cast<uint32_t>(v));
    for (uint32_t vni : failed)
        r.failed.push_back({vni, lib(api_.get_bd_for_vni, vni)});
    for (auto &row : r.local_rows) {
        bool hit = false;
        for (auto &[vlan, vni] : row.pairs)
            hit = hit || failed.count(vni);
        if (row.type == ZORV_TYPE1_INTF_VSI_ATTRIBUTES && hit) r.charged.push_back(row.vsi);
    }
}

void Peer::run_checks(ScopeResult &r, const Bytes &local, const Bytes &remote) {
    const uint32_t gbl = r.peer_link == 0;
    type1_compat_result_t pass{}, fail{};
    r.graceful = {true, lib(api_.compat_check, 0, as_array(local), as_array(remote), gbl ? 1 : 2, 0,
                            &pass, &fail)};
    collect_failed(r, fail);
    r.passed_count = pass.vni_set ? bitset_count(pass.vni_set) : 0;
    if (pass.vni_set) bitset_free(pass.vni_set);
    if (fail.vni_set) bitset_free(fail.vni_set);
    r.strict = {true, lib(api_.gbl_compat_check, 0, as_array(local), as_array(remote))};
    if (!remote.empty())
        r.recheck = {true, lib(api_.rmt_cfg_cache_rebuild, as_array(remote), gbl, r.ifindex)};
}

// The report explains a difference in VLAN-to-VNI pairs from the pairs of the two rows; where
// they are equal (most of a large scope) neither row needs them any more.
void shed_equal_pairs(ScopeResult &r) {
    std::map<std::pair<uint32_t, std::string>, Row *> peer;
    for (Row &p : r.peer_rows)
        if (!p.pairs.empty()) peer.emplace(std::make_pair(p.vsi, p.profile), &p);
    for (Row &l : r.local_rows) {
        auto it = l.pairs.empty() ? peer.end() : peer.find({l.vsi, l.profile});
        if (it == peer.end() || it->second->type != l.type || it->second->pairs != l.pairs)
            continue;
        l.pairs = VlanMap(), it->second->pairs = VlanMap();
    }
}

ScopeResult Peer::check_scope(uint32_t link, const Bytes &local, const Received &rx) {
    ScopeResult r;
    r.peer_link = link;
    const Interface *iface = link ? find_interface_by_link(cfg_, link) : nullptr;
    r.local_scope = link == 0 || iface;
    if (iface) r.ifindex = iface->ifindex, r.if_name = iface->name;
    auto frame = rx.frames.find(link);
    r.peer_sent = frame != rx.frames.end();
    const Bytes none;
    const Bytes &remote = r.peer_sent ? frame->second.array : none;
    r.local_rows = rows_of(local, link == 0, r.notes);
    r.peer_rows = rows_of(remote, link == 0, r.notes);
    r.local_tlvs = local.empty() ? 0 : tlv_array_count(as_array(local), 1);
    r.peer_tlvs = remote.empty() ? 0 : tlv_array_count(as_array(remote), 1);
    if (auto ref = rx.refused.find(link); ref != rx.refused.end()) {
        r.refused = ref->second;
        r.notes.push_back("the peer's frame was refused and not given to the library: " +
                          r.refused);
    } else if (!r.local_scope) {
        r.notes.push_back("peer link " + std::to_string(link) +
                          " has no interface here: nothing to check against");
    } else if (local.empty() && remote.empty()) {
        r.notes.push_back("no parameters on either side: the checks are not run");
    } else {
        run_checks(r, local, remote);
    }
    if (o_.rows)
        shed_equal_pairs(r);
    else
        r.local_rows.clear(), r.peer_rows.clear();
    return r;
}

void Peer::send_result(uint32_t kind, const std::string &body) {
    uint32_t head[2] = {kind, static_cast<uint32_t>(body.size())};
    if (!write_all(o_.result_fd, head, sizeof head) ||
        !write_all(o_.result_fd, body.data(), body.size()))
        _exit(3);
}

void Peer::send_events() {
    char *buf = nullptr;
    size_t len = 0;
    FILE *f = open_memstream(&buf, &len);
    if (!f) return;
    debug_history_dump(kSvc, f);
    fclose(f);
    send_result(kMsgEvents, std::string(buf, len));
    free(buf);
}

void Peer::run() {
    std::string err;
    if (!load_drel(api_, err)) throw Fatal{err};
    setup_platform();
    for (uint32_t round = 0; round < o_.rounds; ++round) {
        round_ = RoundResult{};
        round_.round = round;
        const double cpu0 = thread_cpu_ms();
        auto t0 = std::chrono::steady_clock::now();
        if (round == 0)
            configure();
        else
            apply_step(s_.steps[round - 1]);
        round_.timing.configure_ms = ms_since(t0);

        exchange_and_check();
        round_.timing.cpu_ms = thread_cpu_ms() - cpu0;
        tracked_mem_stats_t mem{};
        if (tracked_mem_stats_get(kSvc, -1, &mem) == 0) round_.timing.cache_bytes = mem.live_bytes;
        send_result(kMsgRound, encode_round(round_));
    }
    if (o_.events) send_events();
    unload_drel(api_);
}

// Tells the parent why this peer stops, and stops it.
[[noreturn]] void send_fatal(int result_fd, const std::string &why) {
    uint32_t head[2] = {kMsgFatal, static_cast<uint32_t>(why.size())};
    write_all(result_fd, head, sizeof head);
    write_all(result_fd, why.data(), why.size());
    _exit(3);
}

} // namespace

void run_peer(Scenario &scenario, const PeerOptions &options) {
    signal(SIGPIPE, SIG_IGN);
    // The other switch is the other process's: its pages go back, however large it is.
    scenario.sw[1 - options.side] = SwitchConfig{};
    malloc_trim(0);
    Peer peer(scenario, options);
    try {
        peer.run();
    } catch (const std::bad_alloc &) {
        send_fatal(options.result_fd, "out of memory in the peer process");
    } catch (const Fatal &f) {
        send_fatal(options.result_fd, f.what);
    }
    _exit(0);
}

} // namespace drelsim
