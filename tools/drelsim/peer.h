/* SPDX-License-Identifier: Apache-2.0 */
// One switch of the pair: a process that loads the library and acts as its peer manager.
#pragma once

#include "model.h"

namespace drelsim {

struct PeerOptions {
    int side = 0;         // 0 = A, 1 = B
    int link_fd = -1;     // stream socket to the other peer
    int result_fd = -1;   // pipe to the parent
    bool corrupt = false; // corrupt the first frame of every round (testing)
    bool events = false;  // send the debug history at the end
    uint32_t rounds = 1;  // initial check plus this many minus one steps
    bool rows = true;     // report the parameter rows (the report shows them as A sees them)
    uint64_t turn_bytes = 8u << 20; // a turn on the peer link ends past this many bytes sent
};

// Runs the peer to the end and leaves the process; its switch's configuration in `scenario`
// follows the steps.
[[noreturn]] void run_peer(Scenario &scenario, const PeerOptions &options);

} // namespace drelsim
