// SPDX-License-Identifier: Apache-2.0
#include "link.h"

#include <cerrno>
#include <cstring>
#include <unistd.h>

namespace drelsim {
namespace {

constexpr uint32_t kMagic = 0x4C52445A;           // "ZDRL"
constexpr uint32_t kMaxFrame = 64u * 1024 * 1024; // far above any real TLV array
constexpr size_t kSlack = 16;

struct Header {
    uint32_t magic, kind, peer_link, ifindex, length;
};

std::string refusal(uint32_t length, uint32_t header_len) {
    return "frame carries " + std::to_string(length) + " bytes but its TLV array header says " +
           std::to_string(4ull + header_len) + " (4 + " + std::to_string(header_len) + ")";
}

// Moves `size` bytes at `p` through `io` (::read or ::write), in as many calls as it takes,
// again after an interruption; false when the stream ends or fails first.
template <typename Byte, typename Io> bool transfer_all(int fd, Byte *p, size_t size, Io io) {
    while (size > 0) {
        ssize_t n = io(fd, p, size);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        p += n, size -= static_cast<size_t>(n);
    }
    return true;
}

} // namespace

bool write_all(int fd, const void *data, size_t size) {
    return transfer_all(fd, static_cast<const uint8_t *>(data), size, ::write);
}

bool read_all(int fd, void *data, size_t size) {
    return transfer_all(fd, static_cast<uint8_t *>(data), size, ::read);
}

bool send_frame(int fd, uint32_t kind, uint32_t peer_link, uint32_t ifindex, const Bytes *array,
                bool corrupt, uint64_t &bytes_sent) {
    Bytes payload;
    if (array && !array->empty())
        payload.assign(array->begin(), array->begin() + array_bytes(*array));
    if (corrupt) {
        if (payload.size() < 4) payload.assign(4, 0);
        uint32_t len = 0;
        std::memcpy(&len, payload.data(), 4);
        len += 8; // claims more TLV bytes than the frame carries
        std::memcpy(payload.data(), &len, 4);
    }
    Header h{kMagic, kind, peer_link, ifindex, static_cast<uint32_t>(payload.size())};
    bytes_sent += sizeof h + payload.size();
    return write_all(fd, &h, sizeof h) && write_all(fd, payload.data(), payload.size());
}

RecvStatus recv_frame(int fd, Frame &f, std::string &why) {
    Header h{};
    if (!read_all(fd, &h, sizeof h)) return why = "peer link closed", RecvStatus::LinkError;
    if (h.magic != kMagic || h.kind < kFrameGlobal || h.kind > kFrameTurn || h.length > kMaxFrame)
        return why = "peer link out of step (bad frame header)", RecvStatus::LinkError;
    f = Frame{h.kind, h.peer_link, h.ifindex, h.length > 0, Bytes(h.length + kSlack, 0)};
    if (!read_all(fd, f.array.data(), h.length))
        return why = "peer link closed", RecvStatus::LinkError;
    if (h.length == 0) {
        f.array.clear();
        return RecvStatus::Ok;
    }
    uint32_t header_len = 0;
    if (h.length >= 4) std::memcpy(&header_len, f.array.data(), 4);
    if (h.length < 4 || 4ull + header_len != h.length) {
        why = h.length < 4 ? "frame carries " + std::to_string(h.length) +
                                 " bytes, too few for a TLV array header"
                           : refusal(h.length, header_len);
        f.array.clear();
        f.present = false;
        return RecvStatus::Refused;
    }
    return RecvStatus::Ok;
}

} // namespace drelsim
