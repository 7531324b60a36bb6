/* SPDX-License-Identifier: Apache-2.0 */
// Scenarios of a chosen size, for timing a whole round at switch scale.
#pragma once

#include <cstdint>
#include <string>

namespace drelsim {

struct GenOptions {
    uint32_t vnis = 64;
    uint32_t interfaces = 4;
    uint32_t vsis = 8;  // per interface
    uint32_t pairs = 4; // dot1q-to-VNI pairs per service instance
    bool ranges = true; // consecutive keys mapping to consecutive values as one range entry
};

// Empty when the options describe a valid scenario, else what is wrong with them.
std::string generate_problem(const GenOptions &o);
// A valid scenario of identical peers of that size, as YAML.
std::string generate_scenario(const GenOptions &o);

} // namespace drelsim
