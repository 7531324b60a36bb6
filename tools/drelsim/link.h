/* SPDX-License-Identifier: Apache-2.0 */
// The peer link between the two peer processes: framed TLV arrays on a stream socket.
#pragma once

#include <cstdint>
#include <string>

#include "codec.h"

namespace drelsim {

// Frames of a round: the global scope's parameters, one interface's, the end of the sender's
// frames, and the end of its turn (more frames follow after the other side's turn).
enum : uint32_t { kFrameGlobal = 1, kFrameInterface = 2, kFrameEnd = 3, kFrameTurn = 4 };

struct Frame {
    uint32_t kind = 0;
    uint32_t peer_link = 0; // interface frames: the peer-link id the interface belongs to
    uint32_t ifindex = 0;   // interface frames: the sender's interface
    bool present = false;   // false: the sender has no parameters for the scope
    Bytes array;            // the TLV array, with zero slack behind it
};

enum class RecvStatus { Ok, Refused, LinkError };

bool write_all(int fd, const void *data, size_t size);
bool read_all(int fd, void *data, size_t size);

// Sends one frame; `array` null or empty means no parameters. `corrupt` makes the TLV array's
// header disagree with the frame length (for testing the receiver).
bool send_frame(int fd, uint32_t kind, uint32_t peer_link, uint32_t ifindex, const Bytes *array,
                bool corrupt, uint64_t &bytes_sent);

// Receives one frame. Refused: the frame was read whole but its TLV array does not match its
// length (`why` says how); it must not be used. LinkError: the stream itself is broken.
RecvStatus recv_frame(int fd, Frame &frame, std::string &why);

} // namespace drelsim
