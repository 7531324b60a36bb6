// SPDX-License-Identifier: Apache-2.0
// make_seeds.cpp - writes the hand-made seed inputs of every fuzz target into
// <corpus-root>/<target>/seed-NNN: well-formed inputs that reach the deep paths (the standard
// cache's own exports, consistent updates, matching and differing pairs). Campaign inputs that
// add coverage are merged in beside them (./dev fuzz-merge).
//   fuzz_make_seeds <corpus-root>
#include <filesystem>
#include <fstream>
#include <string>

#include "fuzz_common.h"

namespace {

using bytes = std::vector<uint8_t>;

struct tlvs {
    bytes b = bytes(4, 0);
    tlvs &add(uint16_t type, const bytes &v) {
        const size_t at = b.size();
        b.resize(at + ((4 + v.size() + 3) & ~size_t{3}), 0);
        const uint16_t l = static_cast<uint16_t>(v.size());
        std::memcpy(&b[at], &type, 2);
        std::memcpy(&b[at + 2], &l, 2);
        if (!v.empty()) std::memcpy(&b[at + 4], v.data(), v.size());
        const uint32_t len = static_cast<uint32_t>(b.size() - 4);
        std::memcpy(b.data(), &len, 4);
        return *this;
    }
};

bytes ctl(uint8_t c0, uint8_t c1 = 0, uint8_t c2 = 0, uint8_t c3 = 0) {
    return {c0, c1, c2, c3};
}
bytes cat(bytes a, const bytes &b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}
bytes of_array(const tlv_array_t *a) {
    if (a == nullptr) return bytes(4, 0);
    const auto *p = reinterpret_cast<const uint8_t *>(a);
    return bytes(p, p + 4 + a->len);
}
bytes word(uint32_t w) {
    bytes b(4);
    std::memcpy(b.data(), &w, 4);
    return b;
}
// ctl, 16-byte header with resp_present set, update record head, array.
bytes update(uint8_t c0, uint32_t is_delete, uint32_t if_index, const tlvs &t) {
    bytes hdr(16, 0);
    hdr[12] = 1;
    return cat(cat(cat(cat(cat(ctl(c0), hdr), word(is_delete)), word(if_index)),
                   word(static_cast<uint32_t>(t.b.size()))),
               t.b);
}

class writer {
  public:
    writer(std::filesystem::path root, const char *target) : dir_(std::move(root) / target) {
        std::filesystem::create_directories(dir_);
    }
    void put(const bytes &b) {
        char name[32];
        std::snprintf(name, sizeof name, "seed-%03u", n_++);
        std::ofstream(dir_ / name, std::ios::binary)
            .write(reinterpret_cast<const char *>(b.data()),
                   static_cast<std::streamsize>(b.size()));
    }

  private:
    std::filesystem::path dir_;
    unsigned n_ = 0;
};

tlvs random_tlvs(fuzz::rng &r, uint32_t n, bool big) {
    tlvs t;
    for (uint32_t i = 0; i < n; ++i) {
        uint16_t ty = fuzz::kTypes[r.below(7)];
        if (!big && (ty == 2 || ty == 7)) ty = 9;
        t.add(ty, fuzz::good_value(ty, r));
    }
    return t;
}

} // namespace

int main(int argc, char **argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: fuzz_make_seeds <corpus-root>\n");
        return 2;
    }
    const std::filesystem::path root(argv[1]);
    fuzz::fill_cache();
    tlv_array_t *if_arr = nullptr, *gbl_arr = nullptr, *if2_arr = nullptr;
    zorv_drel_type1_cfg_get_params(0, fuzz::kIfIndex, &if_arr);
    zorv_drel_type1_cfg_get_params(0, fuzz::kIfIndex2, &if2_arr);
    zorv_drel_type1_cfg_get_params(1, 0, &gbl_arr);
    const bytes ifb = of_array(if_arr), gblb = of_array(gbl_arr), if2b = of_array(if2_arr);
    fuzz::rng r(12345);

    // Peer arrays: the checks, the re-check and the rows.
    for (const char *t : {"fuzz_remote_tlvs", "fuzz_recheck", "fuzz_rows"}) {
        writer w(root, t);
        w.put(cat(ctl(0), ifb));
        w.put(cat(ctl(2), gblb));
        w.put(cat(ctl(1), ifb));
        w.put(cat(ctl(1), if2b));
        w.put(cat(ctl(4), ifb));
        w.put(cat(ctl(6), gblb));
        w.put(cat(ctl(0), tlvs().b));
        for (uint32_t i = 0; i < 14; ++i)
            w.put(cat(ctl(static_cast<uint8_t>(r.below(8)), static_cast<uint8_t>(r.below(4))),
                      random_tlvs(r, 1 + r.below(4), i % 5 == 0).b));
        tlvs mem;
        for (uint32_t i = 0; i < 4; ++i)
            mem.add(8, fuzz::good_value(8, r));
        w.put(cat(ctl(2), mem.b));
        w.put(cat(ctl(0), tlvs().add(9, fuzz::vsi_value(fuzz::kIfIndex, 1, 0, 2, 3)).b));
        w.put(cat(ctl(0), tlvs().add(9, fuzz::vsi_value(fuzz::kIfIndex, 3, 1, 4, 4, "p2")).b));
        w.put(cat(ctl(1), tlvs().add(9, fuzz::vsi_value(fuzz::kIfIndex, 3, 1, 1, 4, "p2")).b));
    }
    // Rebuild arrays of both scopes.
    {
        writer w(root, "fuzz_rebuild");
        w.put(cat(ctl(0), ifb));
        w.put(cat(ctl(2), gblb));
        w.put(cat(ctl(4), gblb));
        w.put(cat(ctl(5), ifb));
        for (uint32_t i = 0; i < 16; ++i)
            w.put(cat(ctl(static_cast<uint8_t>(r.below(8))),
                      random_tlvs(r, 1 + r.below(3), i % 4 == 0).b));
    }
    // Update messages, for extraction and the direct cache update.
    for (const char *t : {"fuzz_update_msg", "fuzz_cache_update"}) {
        writer w(root, t);
        const bool cu = std::strcmp(t, "fuzz_cache_update") == 0;
        for (uint32_t i = 0; i < 20; ++i) {
            const uint32_t is_delete = r.below(3) == 0;
            const bool gbl = r.one_in(3);
            tlvs a;
            for (uint32_t k = 0, n = 1 + r.below(3); k < n; ++k) {
                const uint16_t ty = gbl ? 8 : fuzz::kTypes[2 + r.below(5)];
                a.add(ty == 8 && !gbl ? 9 : ty, fuzz::good_value(ty == 8 && !gbl ? 9 : ty, r));
            }
            uint8_t c0 = static_cast<uint8_t>(i % 2);
            if (cu) c0 = static_cast<uint8_t>(is_delete | (gbl ? 2 : 0) | (i % 3 == 0 ? 16 : 0));
            w.put(update(c0, is_delete, gbl ? 0 : fuzz::kIfIndex, a));
        }
        w.put(update(cu ? 9 : 2, 0, fuzz::kIfIndex, tlvs()));
        w.put(update(cu ? 1 : 0, 1, fuzz::kIfIndex,
                     tlvs().add(9, fuzz::vsi_value(fuzz::kIfIndex, 2, 0, 1, 2))));
        w.put(update(cu ? 3 : 0, 1, 0, tlvs().add(8, fuzz::good_value(8, r))));
    }
    // Pairs of values for the per-pair checks.
    {
        writer w(root, "fuzz_pair_check");
        for (uint32_t i = 0; i < 24; ++i) {
            tlvs a;
            for (uint32_t k = 0, n = 1 + r.below(3); k < n; ++k) {
                uint16_t ty = fuzz::kTypes[r.below(7)];
                if (ty == 2 || ty == 7) ty = 9;
                bytes l = fuzz::good_value(ty, r);
                bytes m = r.one_in(2) ? l : fuzz::good_value(ty, r);
                a.add(ty, l).add(ty, m);
            }
            w.put(cat(ctl(static_cast<uint8_t>(r.below(16) & ~8u)), a.b));
        }
        auto v = fuzz::vsi_value(fuzz::kIfIndex, 3, 1, 4, 4, "p2");
        w.put(cat(ctl(0), tlvs().add(9, v).add(9, v).b));
        w.put(cat(ctl(1),
                  tlvs().add(9, v).add(9, fuzz::vsi_value(fuzz::kIfIndex, 3, 1, 2, 4, "p1")).b));
    }
    // Tables and bitmaps for the failed-VLAN operations.
    {
        writer w(root, "fuzz_failed_vlans");
        for (uint32_t i = 0; i < 24; ++i) {
            tlvs a;
            bytes lm, rm;
            for (uint32_t k = 0, n = r.below(8); k < n; ++k) {
                const uint32_t vlan = r.one_in(8) ? r.below(4096) : 10 + r.below(6);
                const uint32_t vni = 5010 + r.below(24);
                lm = cat(cat(lm, word(vlan)), word(vni));
                rm = cat(cat(rm, word(vlan)), word(r.one_in(3) ? vni + 1 : vni));
            }
            bytes lb(512, 0), rb(512, 0), pb(512, 0);
            for (uint32_t k = 0; k < 4; ++k) {
                lb[r.below(4)] = static_cast<uint8_t>(r.next());
                rb[r.below(4)] = static_cast<uint8_t>(r.next());
            }
            pb[1] = 0xFF;
            if (r.one_in(3)) std::fill(pb.begin(), pb.end(), 0xFF);
            a.add(1, lm).add(2, rm).add(3, lb).add(4, rb).add(5, pb);
            w.put(cat(ctl(static_cast<uint8_t>(r.below(32) & (i % 2 ? 0x1F : 0)),
                          static_cast<uint8_t>(r.below(7)), static_cast<uint8_t>(r.below(256))),
                      a.b));
        }
    }
    // Type-9 pairs for the failed-BD operation.
    {
        writer w(root, "fuzz_failed_bds");
        for (uint32_t i = 0; i < 24; ++i) {
            tlvs a;
            for (uint32_t k = 0, n = 1 + r.below(3); k < n; ++k) {
                bytes l = fuzz::good_value(9, r);
                bytes m = r.one_in(2) ? l : fuzz::good_value(9, r);
                a.add(9, l).add(9, m);
            }
            w.put(cat(ctl(static_cast<uint8_t>(r.below(32) & (i % 3 ? 0x10 : 0x1F)),
                          static_cast<uint8_t>(r.below(4))),
                      a.b));
        }
    }
    // Formats and arguments for the debug history: every ring size and argument shape, bytes
    // at random behind them.
    {
        writer w(root, "fuzz_history_format");
        for (uint32_t i = 0; i < 26; ++i) {
            bytes b = {static_cast<uint8_t>(i % 5), static_cast<uint8_t>(i % 13)};
            for (uint32_t k = 0, n = 40 + r.below(200); k < n; ++k)
                b.push_back(static_cast<uint8_t>(r.below(256)));
            w.put(b);
        }
    }
    tracked_free(ZORV_DREL_LIB_SERVICE_ID, if_arr);
    tracked_free(ZORV_DREL_LIB_SERVICE_ID, if2_arr);
    tracked_free(ZORV_DREL_LIB_SERVICE_ID, gbl_arr);
    return 0;
}
