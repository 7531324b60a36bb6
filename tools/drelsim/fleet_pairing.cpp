// SPDX-License-Identifier: Apache-2.0
// Reading a fleet's directory and finding its MLAG pairs (the rules are in fleet.h).
#include <algorithm>
#include <filesystem>
#include <map>
#include <system_error>

#include "fleet.h"
#include "fleet_report.h"

namespace drelsim {
namespace {

namespace fs = std::filesystem;

// The formats whose MLAG domain id is the system MAC and whose peer address may be link-local.
bool clag_format(const SwitchImport &sw) {
    return sw.format == "ifupdown2" || sw.format == "nvue";
}

bool owns(const SwitchImport &sw, const std::string &address) {
    return !address.empty() &&
           (sw.local_address == address ||
            std::find(sw.addresses.begin(), sw.addresses.end(), address) != sw.addresses.end());
}

// Switches grouped by a key that both switches of a pair share; a group of two is a pair, a
// larger one is ambiguous and pairs none of its members.
class Grouping {
  public:
    void add(const std::string &key, size_t sw) { groups_[key].push_back(sw); }
    template <typename Pair, typename Ambiguous> void settle(Pair pair, Ambiguous ambiguous) {
        for (auto &[key, members] : groups_)
            if (members.size() == 2)
                pair(members[0], members[1], key);
            else if (members.size() > 2)
                for (size_t m : members)
                    ambiguous(m, key, members.size());
    }

  private:
    std::map<std::string, std::vector<size_t>> groups_;
};

} // namespace

std::string pair_name(const FleetSwitch &a, const FleetSwitch &b) {
    return switch_label(a.sw.hostname, a.file) + "+" + switch_label(b.sw.hostname, b.file);
}

Fleet read_fleet(const std::string &dir) {
    Fleet f;
    f.dir = dir;
    std::error_code ec;
    auto it = fs::recursive_directory_iterator(dir, ec);
    if (ec) throw InputError(dir + ": cannot read the directory: " + ec.message());
    std::vector<std::string> files;
    for (auto end = fs::recursive_directory_iterator(); it != end; it.increment(ec)) {
        if (ec) throw InputError(dir + ": cannot read the directory: " + ec.message());
        const std::string name = it->path().filename().string();
        if (!name.empty() && name[0] == '.') {
            if (it->is_directory(ec)) it.disable_recursion_pending();
            continue;
        }
        if (it->is_regular_file(ec)) files.push_back(it->path().string());
    }
    std::sort(files.begin(), files.end());
    for (auto &file : files) {
        FleetSwitch s;
        s.file = file;
        try {
            s.sw = import_switch(file);
        } catch (const InputError &e) {
            s.error = e.what();
        }
        f.switches.push_back(std::move(s));
    }
    pair_fleet(f);
    return f;
}

void pair_fleet(Fleet &f) {
    std::vector<bool> paired(f.switches.size()), ambiguous(f.switches.size());
    auto pair = [&](size_t x, size_t y, const std::string &rule) {
        if (paired[x] || paired[y]) return;
        paired[x] = paired[y] = true;
        const size_t a = std::min(x, y), b = std::max(x, y);
        f.pairs.push_back({a, b, pair_name(f.switches[a], f.switches[b]), rule});
    };
    std::map<size_t, std::string> why;
    auto unclear = [&](size_t sw, const std::string &what) {
        if (!why.count(sw)) why[sw] = what;
    };

    // Domain and crossed addresses. A switch whose domain and local address another one has
    // too pairs with neither; otherwise the two ends of a pair share domain and address set.
    std::map<std::string, std::vector<size_t>> same_local, ends;
    for (size_t i = 0; i < f.switches.size(); ++i) {
        const SwitchImport &sw = f.switches[i].sw;
        if (!f.switches[i].error.empty() || clag_format(sw)) continue;
        if (sw.domain_id.empty() || sw.local_address.empty() || sw.peer_address.empty() ||
            sw.local_address == sw.peer_address) {
            unclear(i, "no MLAG domain id with a local and a peer address to pair it by");
            continue;
        }
        same_local[sw.domain_id + "\x1f" + sw.local_address].push_back(i);
    }
    for (auto &[key, members] : same_local) {
        if (members.size() > 1) {
            for (size_t m : members)
                ambiguous[m] = true,
                unclear(m, std::to_string(members.size()) + " switches have MLAG domain " +
                               f.switches[m].sw.domain_id + " and local address " +
                               f.switches[m].sw.local_address);
            continue;
        }
        const SwitchImport &sw = f.switches[members[0]].sw;
        ends[sw.domain_id + "\x1f" + std::min(sw.local_address, sw.peer_address) + "\x1f" +
             std::max(sw.local_address, sw.peer_address)]
            .push_back(members[0]);
    }
    for (auto &[key, members] : ends)
        if (members.size() == 2)
            pair(members[0], members[1],
                 "MLAG domain " + f.switches[members[0]].sw.domain_id +
                     " with crossed peer addresses");
        else
            unclear(members[0], "no switch of MLAG domain " + f.switches[members[0]].sw.domain_id +
                                    " has local address " + f.switches[members[0]].sw.peer_address +
                                    " and peer address " + f.switches[members[0]].sw.local_address);

    // Anycast address, then backup IPs, for the formats whose MAC and peer address do not tell.
    Grouping anycast;
    for (size_t i = 0; i < f.switches.size(); ++i)
        if (f.switches[i].error.empty() && clag_format(f.switches[i].sw) &&
            !f.switches[i].sw.anycast_ip.empty())
            anycast.add(f.switches[i].sw.anycast_ip, i);
    anycast.settle([&](size_t x, size_t y,
                       const std::string &ip) { pair(x, y, "VXLAN anycast address " + ip); },
                   [&](size_t m, const std::string &ip, size_t n) {
                       ambiguous[m] = true;
                       unclear(m, std::to_string(n) + " switches have the VXLAN anycast address " +
                                      ip);
                   });
    for (size_t x = 0; x < f.switches.size(); ++x)
        for (size_t y = x + 1; y < f.switches.size() && !paired[x] && !ambiguous[x]; ++y) {
            const SwitchImport &a = f.switches[x].sw, &b = f.switches[y].sw;
            if (paired[y] || ambiguous[y] || !f.switches[x].error.empty() ||
                !f.switches[y].error.empty() || !clag_format(a) || !clag_format(b))
                continue;
            if (owns(b, a.backup_ip) && owns(a, b.backup_ip))
                pair(x, y, "backup IPs " + a.backup_ip + " and " + b.backup_ip);
        }
    for (size_t i = 0; i < f.switches.size(); ++i) {
        const SwitchImport &sw = f.switches[i].sw;
        if (paired[i] || !f.switches[i].error.empty()) continue;
        if (clag_format(sw))
            unclear(i, sw.anycast_ip.empty() && sw.backup_ip.empty()
                           ? "no VXLAN anycast address and no backup IP to pair it by"
                           : "no other switch has its VXLAN anycast address" +
                                 (sw.anycast_ip.empty() ? std::string() : " " + sw.anycast_ip) +
                                 (sw.backup_ip.empty() ? std::string()
                                                       : " or owns its backup IP " + sw.backup_ip));
        f.unpaired.push_back({i, why[i]});
    }
    std::sort(f.pairs.begin(), f.pairs.end(),
              [](const FleetPair &x, const FleetPair &y) { return x.name < y.name; });
}

} // namespace drelsim
