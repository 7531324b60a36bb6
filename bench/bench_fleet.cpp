// SPDX-License-Identifier: Apache-2.0
// drelsim fleet on a generated fleet of MLAG pairs of realistic size: 100 VLANs with their VNIs,
// four MLAG port-channels carrying them, in three formats (three pairs in five EOS-style
// running-configs, one ifupdown2, one SONiC config_db.json; the ifupdown2 pairs all share one
// system MAC and link-local peer addresses, so they pair by their anycast addresses). Wall time
// of the whole run, at the default -j (the number of cores).
#include <benchmark/benchmark.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include "run_drelsim.h"

namespace {

namespace fs = std::filesystem;

constexpr unsigned kVlans = 100, kFirstVlan = 100, kPorts = 4;

// "10.a.b" for pair p, so that every pair has addresses of its own.
std::string net(unsigned base, unsigned p) {
    return "10." + std::to_string(base + p / 256) + "." + std::to_string(p % 256);
}

// The VLANs port-channel `port` carries: all of them on the first, a quarter on each other.
std::pair<unsigned, unsigned> port_vlans(unsigned port) {
    if (port == 1) return {kFirstVlan, kFirstVlan + kVlans - 1};
    const unsigned q = kVlans / 4, lo = kFirstVlan + (port - 2) * q;
    return {lo, lo + q - 1};
}

std::string eos(unsigned p, int side) {
    std::ostringstream os;
    os << "hostname pair" << p << "-leaf" << (side ? 'b' : 'a') << "\n!\nvlan " << kFirstVlan << "-"
       << kFirstVlan + kVlans - 1 << "\n!\nvlan 4094\n   trunk group MLAG\n!\n";
    for (unsigned port = 1; port <= kPorts; ++port) {
        auto [lo, hi] = port_vlans(port);
        os << "interface Port-Channel" << port << "\n   switchport trunk allowed vlan " << lo << "-"
           << hi << "\n   switchport mode trunk\n   switchport\n   mlag " << port << "\n!\n";
    }
    os << "interface Port-Channel10\n   switchport mode trunk\n   switchport trunk group MLAG\n"
          "!\ninterface Loopback1\n   ip address "
       << net(100, p) << ".1/32\n!\ninterface Vlan4094\n   ip address " << net(0, p) << "." << side
       << "/31\n!\ninterface Vxlan1\n   vxlan source-interface Loopback1\n";
    for (unsigned v = kFirstVlan; v < kFirstVlan + kVlans; ++v)
        os << "   vxlan vlan " << v << " vni " << 10000 + v << "\n";
    os << "!\nmlag configuration\n   domain-id pair" << p
       << "\n   local-interface Vlan4094\n   peer-address " << net(0, p) << "." << 1 - side
       << "\n   peer-link Port-Channel10\n!\nend\n";
    return os.str();
}

std::string ifupdown2(unsigned p, int side) {
    std::ostringstream os;
    os << "auto lo\niface lo inet loopback\n    address " << net(100, p) << "." << 1 + side
       << "/32\n    clagd-vxlan-anycast-ip " << net(150, p) << ".1\n\nauto peerlink.4094\n"
       << "iface peerlink.4094\n    address 169.254.1." << 1 + side
       << "/30\n    clagd-peer-ip 169.254.1." << 2 - side << "\n    clagd-backup-ip " << net(100, p)
       << "." << 2 - side << "\n    clagd-sys-mac 44:38:39:be:ef:aa\n\n";
    for (unsigned port = 1; port <= kPorts; ++port) {
        auto [lo, hi] = port_vlans(port);
        os << "auto bond" << port << "\niface bond" << port << "\n    bond-slaves swp" << port
           << "\n    clag-id " << port << "\n    bridge-vids " << lo << "-" << hi << "\n\n";
    }
    os << "auto vxlan48\niface vxlan48\n    bridge-vlan-vni-map " << kFirstVlan << "-"
       << kFirstVlan + kVlans - 1 << "=" << 10000 + kFirstVlan << "-"
       << 10000 + kFirstVlan + kVlans - 1 << "\n\nauto br_default\niface br_default\n"
       << "    bridge-ports peerlink bond1 bond2 bond3 bond4 vxlan48\n    bridge-vids "
       << kFirstVlan << "-" << kFirstVlan + kVlans - 1 << "\n    bridge-vlan-aware yes\n";
    return os.str();
}

std::string sonic(unsigned p, int side) {
    std::ostringstream os;
    os << "{\n  \"DEVICE_METADATA\": {\"localhost\": {\"hostname\": \"pair" << p << "-sonic"
       << (side ? 'b' : 'a') << "\", \"mac\": \"52:54:00:aa:00:0" << 1 + side << "\"}},\n";
    auto list = [&](const char *table, auto item) {
        os << "  \"" << table << "\": {";
        bool first = true;
        item([&](const std::string &entry) {
            os << (first ? "" : ",\n    ") << entry, first = false;
        });
        os << "},\n";
    };
    list("VLAN", [&](auto add) {
        for (unsigned v = kFirstVlan; v < kFirstVlan + kVlans; ++v)
            add("\"Vlan" + std::to_string(v) + "\": {\"vlanid\": \"" + std::to_string(v) + "\"}");
    });
    list("VLAN_MEMBER", [&](auto add) {
        for (unsigned port = 1; port <= kPorts; ++port) {
            auto [lo, hi] = port_vlans(port);
            for (unsigned v = lo; v <= hi; ++v)
                add("\"Vlan" + std::to_string(v) + "|PortChannel000" + std::to_string(port) +
                    "\": {\"tagging_mode\": \"tagged\"}");
        }
    });
    list("PORTCHANNEL", [&](auto add) {
        for (unsigned port = 1; port <= kPorts; ++port)
            add("\"PortChannel000" + std::to_string(port) + "\": {\"admin_status\": \"up\"}");
        add("\"PortChannel0010\": {\"admin_status\": \"up\"}");
    });
    os << "  \"VXLAN_TUNNEL\": {\"vtep\": {\"src_ip\": \"" << net(100, p) << ".1\"}},\n";
    list("VXLAN_TUNNEL_MAP", [&](auto add) {
        for (unsigned v = kFirstVlan; v < kFirstVlan + kVlans; ++v)
            add("\"vtep|map_" + std::to_string(10000 + v) + "_Vlan" + std::to_string(v) +
                "\": {\"vlan\": \"Vlan" + std::to_string(v) + "\", \"vni\": \"" +
                std::to_string(10000 + v) + "\"}");
    });
    os << "  \"MCLAG_DOMAIN\": {\"1\": {\"source_ip\": \"" << net(0, p) << "." << side
       << "\", \"peer_ip\": \"" << net(0, p) << "." << 1 - side
       << "\", \"peer_link\": \"PortChannel0010\"}},\n";
    list("MCLAG_INTERFACE", [&](auto add) {
        for (unsigned port = 1; port <= kPorts; ++port)
            add("\"1|PortChannel000" + std::to_string(port) + "\": {\"if_type\": \"PortChannel\"}");
    });
    std::string text = os.str();
    text.erase(text.size() - 2); // the last table's comma
    return text + "\n}\n";
}

// Writes `pairs` pairs under `dir`, one directory a pair.
void write_fleet(const std::string &dir, unsigned pairs) {
    for (unsigned p = 0; p < pairs; ++p) {
        const std::string d = dir + "/pod" + std::to_string(p);
        fs::create_directories(d);
        for (int side = 0; side < 2; ++side) {
            const std::string name = d + "/" + (side ? "b" : "a");
            if (p % 5 < 3)
                std::ofstream(name + ".cfg") << eos(p, side);
            else if (p % 5 == 3)
                std::ofstream(name + ".interfaces") << ifupdown2(p, side);
            else
                std::ofstream(name + ".json") << sonic(p, side);
        }
    }
}

void BM_Fleet(benchmark::State &state) {
    const auto pairs = static_cast<unsigned>(state.range(0));
    const std::string dir =
        fs::temp_directory_path() / ("drelsim_fleet_" + std::to_string(getpid()));
    write_fleet(dir, pairs);
    for (auto _ : state) {
        const bench::Ran r = bench::run_drelsim(DRELSIM_EXE, {"fleet", dir});
        if (r.status != 0 || r.out.find(std::to_string(pairs) + " pairs") == std::string::npos) {
            state.SkipWithError(("drelsim fleet exited with " + std::to_string(r.status)).c_str());
            break;
        }
    }
    fs::remove_all(dir);
    state.counters["pairs"] = pairs;
    state.counters["jobs"] = std::max(1u, std::thread::hardware_concurrency());
}
BENCHMARK(BM_Fleet)->Arg(500)->Iterations(1)->Unit(benchmark::kSecond)->UseRealTime();

} // namespace

BENCHMARK_MAIN();
