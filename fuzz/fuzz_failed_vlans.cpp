// SPDX-License-Identifier: Apache-2.0
// fuzz_failed_vlans.cpp - the failed-VLAN operations on dot1q-to-VNI tables and VLAN bitmaps
// built from the input, against the standard cache's member VNIs. TLVs of the input:
//   type 1: local table, type 2: remote table - (u32 VLAN, u32 VNI) pairs, VLAN taken mod 4096
//   type 3: local bitmap, 4: remote bitmap, 5: pelk bitmap - up to 512 bytes of bits
//   ctl[0] bit 0: no local table;  bit 1: no remote table;  bit 2: no dot1q table for the
//                 bitmap form;  bit 3: no local bitmap;  bit 4: no remote bitmap
//   ctl[1]: the parameter type (index into the type list of the mutator)
//   ctl[2]: the size word the caller leaves in the passing bitmap
#include "fuzz_common.h"

#include <memory>

namespace {

struct table {
    std::unique_ptr<uint32_t[]> v{new uint32_t[ZORV_DOT1Q_COUNT]()};
    void fill(const fuzz::tlv_item &t) {
        for (uint32_t off = 0; off + 8 <= t.len; off += 8) {
            uint32_t p[2];
            std::memcpy(p, t.value + off, 8);
            v[p[0] % ZORV_DOT1Q_COUNT] = p[1];
        }
    }
};

void fill_bmp(bmp4096_t &b, const fuzz::tlv_item &t) {
    std::memcpy(b.bits, t.value, std::min<size_t>(t.len, sizeof b.bits));
}

bool bit(const bmp4096_t &b, uint32_t n) {
    return (b.bits[n / 8] & (0x80u >> (n % 8))) != 0;
}

// Passing and failed BD bitmaps are complements over the BDs, and the code says whether any
// BD failed: 0, or the error code of the type.
void check_outputs(uint32_t rc, uint16_t type, const bmp4096_t &pass, const bmp4096_t &failed,
                   uint32_t pass_len, const char *where) {
    bool any = false;
    for (uint32_t n = 0; n < ZORV_DOT1Q_COUNT; ++n) {
        if (bit(pass, n) == bit(failed, n)) fuzz::die(where, n);
        any = any || bit(failed, n);
    }
    if (failed.len != 512 || pass.len != pass_len) fuzz::die(where, failed.len, pass.len);
    if (any && rc != zorv_drel_get_type1_cfg_compat_chk_errcode(type)) fuzz::die(where, rc);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    return fuzz::run_input(data, size, [](const fuzz::input &in) {
        const uint16_t type = fuzz::kTypes[in.ctl[1] % std::size(fuzz::kTypes)];
        table lcl, rmt;
        auto bmps = std::make_unique<bmp4096_t[]>(5);
        bmp4096_t &lbmp = bmps[0], &rbmp = bmps[1], &pelk = bmps[2], &pass = bmps[3],
                  &failed = bmps[4];
        lbmp.len = rbmp.len = pelk.len = 512;
        for (const auto &t : fuzz::tlv_items(in.rest, in.rest_size)) {
            switch (t.type) {
            case 1: lcl.fill(t); break;
            case 2: rmt.fill(t); break;
            case 3: fill_bmp(lbmp, t); break;
            case 4: fill_bmp(rbmp, t); break;
            case 5: fill_bmp(pelk, t); break;
            default: break;
            }
        }
        const uint32_t pass_len = in.ctl[2];

        std::memset(&pass, 0x5A, sizeof pass);
        std::memset(&failed, 0xA5, sizeof failed);
        pass.len = pass_len;
        uint32_t rc = fuzz::code(zorv_drel_lib_check_failed_vlans_vni(
                                     type, in.bit(0) ? nullptr : lcl.v.get(),
                                     in.bit(1) ? nullptr : rmt.v.get(), &pelk, &pass, &failed),
                                 "failed_vlans_vni");
        check_outputs(rc, type, pass, failed, pass_len, "failed_vlans_vni");

        std::memset(&pass, 0x5A, sizeof pass);
        std::memset(&failed, 0xA5, sizeof failed);
        pass.len = pass_len;
        rc = fuzz::code(zorv_drel_lib_check_failed_vlans_bmp(
                            type, in.bit(2) ? nullptr : lcl.v.get(), in.bit(3) ? nullptr : &lbmp,
                            in.bit(4) ? nullptr : &rbmp, &pelk, &pass, &failed),
                        "failed_vlans_bmp");
        check_outputs(rc, type, pass, failed, pass_len, "failed_vlans_bmp");
    });
}

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t *data, size_t size, size_t max, unsigned seed) {
    return fuzz::mutate(data, size, max, seed, fuzz::layout{});
}
