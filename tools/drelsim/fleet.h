/* SPDX-License-Identifier: Apache-2.0 */
// A fleet: every switch configuration under a directory, paired into MLAG pairs, each pair run
// as `drelsim check` would run it (in parallel), and one summary of them all. The summary is
// made from each pair's JSON report, so reports of pairs run elsewhere (one job per pair) merge
// into the same summary.
#pragma once

#include <string>
#include <vector>

#include "import.h"
#include "policy.h"

namespace drelsim {

// One configuration file of the fleet.
struct FleetSwitch {
    std::string file;
    SwitchImport sw;   // what was read, when it could be
    std::string error; // why it could not be read ("file:line: ..."), else empty
};

// Two switches of one MLAG pair: `a` and `b` index the fleet's switches, `a` the file that sorts
// first.
struct FleetPair {
    size_t a = 0, b = 0;
    std::string name; // "leaf1a+leaf1b": the hostnames, or the file names without a hostname
    std::string rule; // which rule paired them, in words
};

// A switch no rule pairs, and why.
struct Unpaired {
    size_t sw = 0;
    std::string why;
};

struct Fleet {
    std::string dir;
    std::vector<FleetSwitch> switches; // by file name
    std::vector<FleetPair> pairs;      // by name
    std::vector<Unpaired> unpaired;    // by file name; files that could not be read are not here
};

// Reads every regular file under `dir` (hidden files and directories skipped) as a switch
// configuration and pairs the switches; throws InputError when `dir` cannot be read.
Fleet read_fleet(const std::string &dir);

// Pairs `f.switches` into `f.pairs` and `f.unpaired`:
// - by MLAG domain id and crossed peer addresses (A's local address is B's peer address and the
//   other way round), for the formats that give both;
// - for ifupdown2 and NVUE files, whose system MACs repeat across pairs and whose peer addresses
//   may be link-local: by the VXLAN anycast (shared) address both hold, else by backup IPs that
//   each name the other's own address.
void pair_fleet(Fleet &f);

// The name of a pair: "A+B" of the two switches' hostnames (file names when there is none).
std::string pair_name(const FleetSwitch &a, const FleetSwitch &b);

} // namespace drelsim
