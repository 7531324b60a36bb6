// SPDX-License-Identifier: Apache-2.0
// Type-1 values built from cache nodes, their release, and the bitmap byte-order operations.
#include <gtest/gtest.h>

#include <bit>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "zorv_test_support.h"

namespace {

struct tracked_release {
    void operator()(void *p) const { EXPECT_EQ(tracked_free(zt::kSvc, p), 0); }
};
using if_node_ptr = std::unique_ptr<if_cfg_avl_node_t, tracked_release>;

if_node_ptr make_if_node(uint32_t if_index = 0x1000u, uint32_t vsi = 7, uint32_t admin = 1) {
    auto *n = static_cast<if_cfg_avl_node_t *>(
        zorv_drel_lib_calloc(ZORV_DREL_LIB_MEM_if_cfg_avl_node_t, sizeof(if_cfg_avl_node_t)));
    EXPECT_NE(n, nullptr);
    if (n != nullptr) {
        n->if_index = if_index;
        n->vsi_id = vsi;
        n->admin = admin;
        n->dot1q_bmp.len = 512;
    }
    return if_node_ptr(n);
}

uint32_t u32_at(const void *v, size_t off) {
    uint32_t x;
    std::memcpy(&x, static_cast<const uint8_t *>(v) + off, sizeof x);
    return x;
}

// The outcome of one alloc_tlv call.
struct built {
    uint32_t rc = 0;
    uint16_t type = 0xEEEE, len = 0xEEEE;
    void *value = nullptr;
};

built build(uint16_t type, const void *node) {
    built b;
    b.rc = zorv_drel_lib_alloc_tlv(type, &b.type, &b.len, &b.value, node);
    return b;
}

constexpr const char *kFn = "zorv_drel_lib_alloc_tlv";

// A type-9 value built from a node whose dot1q table holds `vlan_vni` and whose dyn_map_cnt
// says `count`, and what is expected of it.
struct vsi_case {
    uint32_t count = 0;
    std::vector<std::pair<uint32_t, uint32_t>> vlan_vni{}; // (VLAN, VNI) entries of the table
    uint8_t first_bmp_byte = 0;                            // of the node's VLAN bitmap
    const char *prof_name = "";
    uint16_t len = 0;                                 // the value's length
    std::vector<std::pair<size_t, uint32_t>> words{}; // (offset, 32-bit word) of the value
    std::vector<std::string> raw{}, no_raw{};         // pair events logged and not logged
};

// Builds the value of `c`, checks it (and `more` on its bytes) and releases it.
void expect_vsi_value(const vsi_case &c, const std::function<void(const uint8_t *)> &more = {}) {
    auto node = make_if_node();
    node->dyn_map_cnt = c.count;
    for (auto [vlan, vni] : c.vlan_vni)
        node->dot1q_vni[vlan] = vni;
    node->dot1q_bmp.bits[0] = c.first_bmp_byte;
    std::strcpy(node->prof_name, c.prof_name);

    built b = build(ZORV_TYPE1_INTF_VSI_ATTRIBUTES, node.get());
    ASSERT_EQ(b.rc, 0u);
    ASSERT_EQ(b.len, c.len);
    for (auto [off, word] : c.words)
        EXPECT_EQ(u32_at(b.value, off), word) << "offset " << off;
    if (more) more(static_cast<const uint8_t *>(b.value));
    for (const auto &e : c.raw)
        EXPECT_TRUE(zt::has_raw(e)) << e << zt::dump_events();
    for (const auto &e : c.no_raw)
        EXPECT_FALSE(zt::has_raw(e)) << e << zt::dump_events();
    EXPECT_EQ(zorv_drel_lib_free_tlv(ZORV_TYPE1_INTF_VSI_ATTRIBUTES, b.value), 0u);
}

} // namespace

// ---- Type 8 --------------------------------------------------------------------------------

TEST(AllocTlvMemberVni, SwapsNodeOrderToWireOrder) {
    gbl_cfg_memvni_avl_node_t node{5000, 12}; // {vni, bd}
    built b = build(ZORV_TYPE1_GBL_MEMBER_VNI, &node);
    ASSERT_EQ(b.rc, 0u);
    EXPECT_EQ(b.type, ZORV_TYPE1_GBL_MEMBER_VNI);
    EXPECT_EQ(b.len, 8);
    ASSERT_NE(b.value, nullptr);
    EXPECT_EQ(u32_at(b.value, 0), 12u);   // bd
    EXPECT_EQ(u32_at(b.value, 4), 5000u); // vni
    EXPECT_EQ(zt::live_blocks(ZORV_DREL_LIB_MEM_member_vni_t), 1u);
    EXPECT_EQ(zt::stats(ZORV_DREL_LIB_MEM_member_vni_t).live_bytes, 8u);
    EXPECT_EQ(zorv_drel_lib_free_tlv(ZORV_TYPE1_GBL_MEMBER_VNI, b.value), 0u);
    EXPECT_EQ(zt::live_blocks(), 0u);
}

TEST(AllocTlvMemberVni, AllocationFailureWritesNothing) {
    gbl_cfg_memvni_avl_node_t node{5000, 12};
    tracked_mem_fault_set(zt::kSvc, 0, 1);
    built b = build(ZORV_TYPE1_GBL_MEMBER_VNI, &node);
    EXPECT_EQ(b.rc, ZORV_DREL_ERR_NO_MEMORY);
    EXPECT_EQ(b.value, nullptr);
    EXPECT_EQ(b.type, 0xEEEE);
    EXPECT_EQ(b.len, 0xEEEE);
    EXPECT_EQ(zt::live_blocks(), 0u);
    EXPECT_TRUE(zt::has_log(kFn, ": Failed malloc for sz:8\n")) << zt::dump_events();
}

// ---- Type 9 layout -------------------------------------------------------------------------

TEST(AllocTlvVsiAll, NoMappedVlansIs792WithFixedOffsets) {
    auto node = make_if_node(0x1000u, 7, 1);
    for (uint32_t i = 0; i < 512; ++i)
        node->dot1q_bmp.bits[i] = static_cast<uint8_t>(i * 7 + 1);
    std::strcpy(node->prof_name, "prof-A");

    built b = build(ZORV_TYPE1_INTF_VSI_ATTRIBUTES, node.get());
    ASSERT_EQ(b.rc, 0u);
    EXPECT_EQ(b.type, ZORV_TYPE1_INTF_VSI_ATTRIBUTES);
    ASSERT_EQ(b.len, 792);
    const auto *v = static_cast<const uint8_t *>(b.value);
    EXPECT_EQ(u32_at(v, 0), 0x1000u);
    EXPECT_EQ(u32_at(v, 4), 7u);
    EXPECT_EQ(u32_at(v, 8), 1u);
    EXPECT_EQ(u32_at(v, 12), ZORV_MAP_MODE_STATIC);
    EXPECT_EQ(u32_at(v, 16), 0u);
    EXPECT_EQ(u32_at(v, 20), 512u); // dot1q_bmp_len
    EXPECT_EQ(std::memcmp(v + 24, node->dot1q_bmp.bits, 512), 0);
    EXPECT_STREQ(reinterpret_cast<const char *>(v + 536), "prof-A");
    for (size_t i = 536 + 6; i < 792; ++i)
        ASSERT_EQ(v[i], 0) << "byte " << i;
    EXPECT_EQ(zt::stats(ZORV_DREL_LIB_MEM_vsi_all_t).live_bytes, 792u);

    EXPECT_TRUE(zt::has_log(kFn, ": setting dyn map(0): ")) << zt::dump_events();
    EXPECT_TRUE(zt::has_raw("\n"));
    EXPECT_EQ(zorv_drel_lib_free_tlv(ZORV_TYPE1_INTF_VSI_ATTRIBUTES, b.value), 0u);
    EXPECT_EQ(zt::live_blocks(ZORV_DREL_LIB_MEM_vsi_all_t), 0u);
}

TEST(AllocTlvVsiAll, CountAboveTableLeavesZeroPair) {
    // The third pair is {0, 0}; the bitmap stands behind all three slots.
    expect_vsi_value(
        {.count = 3,
         .vlan_vni = {{10, 1010}, {20, 2020}},
         .first_bmp_byte = 0xC3,
         .prof_name = "p3",
         .len = 816,
         .words =
             {{16, 3}, {20, 1010}, {24, 10}, {28, 2020}, {32, 20}, {36, 0}, {40, 0}, {44, 512}},
         .raw = {"0)10,1010 ", "1)20,2020 "},
         .no_raw = {"2)0,0 "}},
        [](const uint8_t *v) {
            EXPECT_EQ(v[48], 0xC3);
            EXPECT_STREQ(reinterpret_cast<const char *>(v + 560), "p3");
            EXPECT_TRUE(zt::has_log(kFn, ": setting dyn map(3): "));
        });
}

TEST(AllocTlvVsiAll, CountNotTableDecides) {
    expect_vsi_value({.count = 0,
                      .vlan_vni = {{1, 100}, {2, 200}},
                      .len = 792,
                      .words = {{16, 0}, {20, 512}},
                      .no_raw = {"0)1,100 "}});
}

TEST(AllocTlvVsiAll, CountBelowTableStopsEarly) {
    expect_vsi_value({.count = 2,
                      .vlan_vni = {{5, 50}, {6, 60}, {7, 70}},
                      .len = 808,
                      .words = {{20, 50}, {28, 60}, {36, 512}},
                      .raw = {"1)6,60 "},
                      .no_raw = {"2)7,70 "}});
}

TEST(AllocTlvVsiAll, AscendingOrderWithVlanZero) {
    auto node = make_if_node();
    node->dyn_map_cnt = 4;
    node->dot1q_vni[4095] = 0xFFFFFF;
    node->dot1q_vni[0] = 5;
    node->dot1q_vni[100] = 6;
    node->dot1q_vni[101] = 6;

    built b = build(ZORV_TYPE1_INTF_VSI_ATTRIBUTES, node.get());
    ASSERT_EQ(b.rc, 0u);
    ASSERT_EQ(b.len, 824);
    const uint32_t want[4][2] = {{5, 0}, {6, 100}, {6, 101}, {0xFFFFFF, 4095}};
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(u32_at(b.value, 20 + 8 * i), want[i][0]) << i;
        EXPECT_EQ(u32_at(b.value, 24 + 8 * i), want[i][1]) << i;
    }
    // One event per pair, in the same order, between the header and the line end.
    const auto ev = zt::events();
    std::vector<std::string> pairs;
    for (const auto &e : ev)
        if (!e.empty() && e.back() == ' ' && e.find(')') != std::string::npos &&
            e.find("setting") == std::string::npos)
            pairs.push_back(e);
    EXPECT_EQ(pairs,
              (std::vector<std::string>{"0)0,5 ", "1)100,6 ", "2)101,6 ", "3)4095,16777215 "}))
        << zt::dump_events();
    ASSERT_GE(ev.size(), 6u);
    EXPECT_EQ(ev.back(), "\n");
    EXPECT_EQ(zorv_drel_lib_free_tlv(ZORV_TYPE1_INTF_VSI_ATTRIBUTES, b.value), 0u);
}

TEST(AllocTlvVsiAll, MapModeFirstFlagWins) {
    struct {
        uint32_t vdp, dfs, vmt, lldp, mode;
    } cases[] = {{1, 1, 1, 1, 4}, {0, 1, 1, 1, 2}, {0, 0, 1, 1, 3}, {0, 0, 0, 1, 5},
                 {0, 0, 0, 0, 1}, {1, 0, 0, 0, 4}, {0, 1, 0, 0, 2}, {0, 0, 1, 0, 3}};
    for (const auto &c : cases) {
        auto node = make_if_node();
        node->vdp = c.vdp;
        node->dfs = c.dfs;
        node->vmt = c.vmt;
        node->lldp = c.lldp;
        built b = build(ZORV_TYPE1_INTF_VSI_ATTRIBUTES, node.get());
        ASSERT_EQ(b.rc, 0u);
        EXPECT_EQ(u32_at(b.value, 12), c.mode) << c.vdp << c.dfs << c.vmt << c.lldp;
        EXPECT_EQ(zorv_drel_lib_free_tlv(ZORV_TYPE1_INTF_VSI_ATTRIBUTES, b.value), 0u);
    }
}

TEST(AllocTlvVsiAll, LongProfileNameCutTo255) {
    auto node = make_if_node();
    std::memset(node->prof_name, 'n', sizeof node->prof_name); // 256 characters, no NUL
    built b = build(ZORV_TYPE1_INTF_VSI_ATTRIBUTES, node.get());
    ASSERT_EQ(b.rc, 0u);
    const char *name = static_cast<const char *>(b.value) + 536;
    EXPECT_EQ(std::strlen(name), 255u);
    EXPECT_EQ(std::string(name), std::string(255, 'n'));
    EXPECT_EQ(zorv_drel_lib_free_tlv(ZORV_TYPE1_INTF_VSI_ATTRIBUTES, b.value), 0u);

    std::memset(node->prof_name, 0, sizeof node->prof_name);
    std::memset(node->prof_name, 'm', 255); // exactly 255 characters: kept whole
    b = build(ZORV_TYPE1_INTF_VSI_ATTRIBUTES, node.get());
    ASSERT_EQ(b.rc, 0u);
    EXPECT_EQ(std::string(static_cast<const char *>(b.value) + 536), std::string(255, 'm'));
    EXPECT_EQ(zorv_drel_lib_free_tlv(ZORV_TYPE1_INTF_VSI_ATTRIBUTES, b.value), 0u);
}

TEST(AllocTlvVsiAll, LargestTableFitsSixteenBits) {
    auto node = make_if_node();
    node->dyn_map_cnt = 4096;
    for (uint32_t v = 0; v < 4096; ++v)
        node->dot1q_vni[v] = v + 1;
    built b = build(ZORV_TYPE1_INTF_VSI_ATTRIBUTES, node.get());
    ASSERT_EQ(b.rc, 0u);
    ASSERT_EQ(b.len, 33560);
    EXPECT_EQ(u32_at(b.value, 20 + 8 * 4095), 4096u);
    EXPECT_EQ(u32_at(b.value, 24 + 8 * 4095), 4095u);
    EXPECT_EQ(u32_at(b.value, 20 + 8 * 4096), 512u);
    EXPECT_EQ(zorv_drel_lib_free_tlv(ZORV_TYPE1_INTF_VSI_ATTRIBUTES, b.value), 0u);
}

TEST(AllocTlvVsiAll, CountNoTlvCanCarryIsRefused) {
    auto node = make_if_node();
    for (uint32_t count : {0x80000000u, 0xFFFFFFFFu, 8093u}) {
        node->dyn_map_cnt = count;
        built b = build(ZORV_TYPE1_INTF_VSI_ATTRIBUTES, node.get());
        EXPECT_EQ(b.rc, ZORV_DREL_ERR_INVALID_ARG) << count;
        EXPECT_EQ(b.value, nullptr);
        EXPECT_EQ(zt::live_blocks(ZORV_DREL_LIB_MEM_vsi_all_t), 0u);
    }
    node->dyn_map_cnt = 8092; // the largest: 792 + 8 * 8092 = 65528
    built b = build(ZORV_TYPE1_INTF_VSI_ATTRIBUTES, node.get());
    ASSERT_EQ(b.rc, 0u);
    EXPECT_EQ(b.len, 65528);
    EXPECT_EQ(u32_at(b.value, 20 + 8 * 8092), 512u);
    EXPECT_EQ(zorv_drel_lib_free_tlv(ZORV_TYPE1_INTF_VSI_ATTRIBUTES, b.value), 0u);
}

TEST(AllocTlvVsiAll, AllocationFailure) {
    auto node = make_if_node();
    node->dyn_map_cnt = 1;
    node->dot1q_vni[3] = 33;
    const auto before = zt::stats();
    tracked_mem_fault_set(zt::kSvc, 0, 1);
    built b = build(ZORV_TYPE1_INTF_VSI_ATTRIBUTES, node.get());
    EXPECT_EQ(b.rc, 0x42D90002u);
    EXPECT_EQ(b.value, nullptr);
    EXPECT_EQ(b.type, 0xEEEE);
    EXPECT_EQ(b.len, 0xEEEE);
    const auto after = zt::stats();
    EXPECT_EQ(after.live_blocks, before.live_blocks);
    EXPECT_EQ(after.failed_allocs, before.failed_allocs + 1);
    EXPECT_EQ(zt::live_blocks(ZORV_DREL_LIB_MEM_vsi_all_t), 0u);
    EXPECT_TRUE(zt::has_log(kFn, ": Failed malloc for sz:800\n")) << zt::dump_events();
    EXPECT_FALSE(zt::has_log(kFn, ": setting dyn map(1): "));
}

// ---- Refused arguments ---------------------------------------------------------------------

TEST(AllocTlvArgs, OutValueAlreadySet) {
    auto node = make_if_node();
    int sentinel = 0;
    void *out = &sentinel;
    uint16_t t = 0xEEEE, l = 0xEEEE;
    const auto before = zt::stats();
    EXPECT_EQ(zorv_drel_lib_alloc_tlv(ZORV_TYPE1_INTF_VSI_ATTRIBUTES, &t, &l, &out, node.get()),
              0x42D90003u);
    EXPECT_EQ(out, &sentinel);
    gbl_cfg_memvni_avl_node_t mv{1, 2};
    EXPECT_EQ(zorv_drel_lib_alloc_tlv(ZORV_TYPE1_GBL_MEMBER_VNI, &t, &l, &out, &mv), 0x42D90003u);
    EXPECT_EQ(out, &sentinel);
    EXPECT_EQ(t, 0xEEEE);
    EXPECT_EQ(l, 0xEEEE);
    EXPECT_EQ(zt::stats().allocs, before.allocs);
    EXPECT_TRUE(zt::events().empty()) << zt::dump_events();
}

TEST(AllocTlvArgs, NullNodeOrSlot) {
    uint16_t t = 0xEEEE, l = 0xEEEE;
    void *out = nullptr;
    gbl_cfg_memvni_avl_node_t mv{1, 2};
    const auto before = zt::stats();
    EXPECT_EQ(zorv_drel_lib_alloc_tlv(ZORV_TYPE1_GBL_MEMBER_VNI, &t, &l, &out, nullptr),
              0x42D90003u);
    EXPECT_EQ(zorv_drel_lib_alloc_tlv(ZORV_TYPE1_INTF_VSI_ATTRIBUTES, &t, &l, &out, nullptr),
              0x42D90003u);
    EXPECT_EQ(zorv_drel_lib_alloc_tlv(ZORV_TYPE1_GBL_MEMBER_VNI, &t, &l, nullptr, &mv),
              0x42D90003u);
    EXPECT_EQ(zorv_drel_lib_alloc_tlv(3, &t, &l, nullptr, &mv), 0x42D90003u);
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(t, 0xEEEE);
    EXPECT_EQ(l, 0xEEEE);
    EXPECT_EQ(zt::stats().allocs, before.allocs);
    EXPECT_TRUE(zt::events().empty()) << zt::dump_events(); // refused without logging
}

TEST(AllocTlvArgs, UnsupportedTypes) {
    gbl_cfg_memvni_avl_node_t mv{1, 2};
    const auto before = zt::stats();
    for (uint16_t type : {0, 1, 2, 3, 5, 6, 7, 10, 0xFFFF}) {
        built b = build(type, &mv);
        EXPECT_EQ(b.rc, 0x42D90003u) << type;
        EXPECT_EQ(b.value, nullptr);
        EXPECT_EQ(b.type, 0xEEEE);
        EXPECT_EQ(b.len, 0xEEEE);
        EXPECT_TRUE(zt::has_log(kFn, ": Unsupported type:" + std::to_string(type) + "\n"))
            << zt::dump_events();
    }
    EXPECT_EQ(zt::stats().allocs, before.allocs);
}

// ---- Release -------------------------------------------------------------------------------

TEST(FreeTlv, KnownTypesRelease) {
    const uint32_t mem_types[] = {7, 8, 10, 11, 3, 6, 14};
    const uint16_t types[] = {1, 2, 5, 6, 7, 8, 9};
    for (size_t i = 0; i < 7; ++i) {
        void *p = zorv_drel_lib_calloc(mem_types[i], 64);
        ASSERT_NE(p, nullptr);
        EXPECT_EQ(zorv_drel_lib_free_tlv(types[i], p), 0u) << types[i];
        EXPECT_EQ(zt::live_blocks(), 0u) << types[i];
    }
    EXPECT_TRUE(zt::events().empty()) << zt::dump_events();
}

TEST(FreeTlv, PassesOnTheAllocatorResult) {
    EXPECT_EQ(zorv_drel_lib_free_tlv(ZORV_TYPE1_GBL_MEMBER_VNI, nullptr), 0u);
    uint64_t foreign = 0;
    const auto before = zt::stats();
    EXPECT_EQ(zorv_drel_lib_free_tlv(ZORV_TYPE1_INTF_VSI_ATTRIBUTES, &foreign),
              TRACKED_ERR_BAD_BLOCK);
    EXPECT_EQ(zt::stats().bad_frees, before.bad_frees + 1);
}

TEST(FreeTlv, UnknownTypeFreesNothingAndLogsSourceName) {
    void *p = zorv_drel_lib_calloc(ZORV_DREL_LIB_MEM_tlv_array_t, 16);
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(zorv_drel_lib_free_tlv(3, p), ZORV_DREL_ERR_INVALID_ARG);
    EXPECT_EQ(zt::live_blocks(ZORV_DREL_LIB_MEM_tlv_array_t), 1u);
    EXPECT_EQ(zt::stats().frees, 0u);
    EXPECT_TRUE(
        zt::has_log("feature/zorv/lib/drel/zorv_drel_compatcheck", ": Unsupported type:3\n"))
        << zt::dump_events();
    EXPECT_FALSE(zt::has_log("zorv_drel_lib_free_tlv", ": Unsupported type:3\n"));
    for (uint16_t t : {0, 4, 10, 0xFFFF}) {
        EXPECT_EQ(zorv_drel_lib_free_tlv(t, p), ZORV_DREL_ERR_INVALID_ARG);
        EXPECT_TRUE(zt::has_log("feature/zorv/lib/drel/zorv_drel_compatcheck",
                                ": Unsupported type:" + std::to_string(t) + "\n"));
    }
    EXPECT_EQ(zt::live_blocks(ZORV_DREL_LIB_MEM_tlv_array_t), 1u);
    EXPECT_EQ(tracked_free(zt::kSvc, p), 0);
}

// ---- Bitmap byte order ---------------------------------------------------------------------

TEST(Bmp4096, HtonSwapsLenOnly) {
    bmp4096_t src{}, dst{};
    src.len = 512;
    std::memset(src.bits, 0x11, sizeof src.bits);
    std::memset(dst.bits, 0x5A, sizeof dst.bits);
    dst.len = 0xDEADBEEF;
    zorv_drel_lib_bmp4096_hton(&src, &dst);
    if constexpr (std::endian::native == std::endian::little) {
        EXPECT_EQ(dst.len, 0x00020000u);
    } else {
        EXPECT_EQ(dst.len, 512u);
    }
    for (uint8_t b : dst.bits)
        ASSERT_EQ(b, 0x5A);
    EXPECT_EQ(src.len, 512u);
    for (uint8_t b : src.bits)
        ASSERT_EQ(b, 0x11);
}

TEST(Bmp4096, NtohSwapsLenOnlyAndRoundTrips) {
    bmp4096_t src{}, dst{};
    src.len = 0x00020000u;
    src.bits[0] = 0x80;
    zorv_drel_lib_bmp4096_ntoh(&src, &dst);
    if constexpr (std::endian::native == std::endian::little) {
        EXPECT_EQ(dst.len, 512u);
    }
    EXPECT_EQ(dst.bits[0], 0);
    bmp4096_t back{};
    zorv_drel_lib_bmp4096_hton(&dst, &back);
    EXPECT_EQ(back.len, src.len);

    bmp4096_t self{};
    self.len = 0x01020304u;
    zorv_drel_lib_bmp4096_hton(&self, &self);
    if constexpr (std::endian::native == std::endian::little) {
        EXPECT_EQ(self.len, 0x04030201u);
    }
}

TEST(Bmp4096, NullSourceOrDestinationChangesNothing) {
    bmp4096_t b{};
    b.len = 512;
    zorv_drel_lib_bmp4096_hton(nullptr, &b);
    zorv_drel_lib_bmp4096_ntoh(nullptr, &b);
    EXPECT_EQ(b.len, 512u);
    zorv_drel_lib_bmp4096_hton(&b, nullptr);
    zorv_drel_lib_bmp4096_ntoh(&b, nullptr);
    EXPECT_EQ(b.len, 512u);
}
