// SPDX-License-Identifier: Apache-2.0
// Peer manager: interface and trunk records, peer-protocol version, local peer-link interface.
#include <gtest/gtest.h>

#include <platform/platform.h>

namespace {

const drelm_sdb_if_info_t *if_record(uint32_t if_index) {
    drelm_sdb_key_t key{};
    EXPECT_EQ(drelm_sdb_generate_if_key(if_index, &key), 0);
    return static_cast<const drelm_sdb_if_info_t *>(drelm_sdb_info_get(&key));
}

const void *trunk_record(uint32_t id) {
    drelm_sdb_key_t key{};
    EXPECT_EQ(drelm_sdb_generate_mct_key(id, &key), 0);
    return drelm_sdb_info_get(&key);
}

TEST(Drelm, UnknownInterfaceHasNoRecord) {
    EXPECT_EQ(if_record(0x1000), nullptr);
}

TEST(Drelm, InterfaceRecordCarriesMembershipAndPeerLink) {
    drelm_host_set_interface(0x1000, 1, 7);
    drelm_host_set_interface(0x2000, 0, 0);
    const drelm_sdb_if_info_t *r = if_record(0x1000);
    ASSERT_NE(r, nullptr);
    EXPECT_EQ(r->is_drel, 1u);
    EXPECT_EQ(r->drel_id, 7u);
    r = if_record(0x2000);
    ASSERT_NE(r, nullptr) << "a non-member interface still has a record";
    EXPECT_EQ(r->is_drel, 0u);
    EXPECT_EQ(if_record(0x3000), nullptr);
}

TEST(Drelm, SetAgainUpdatesAndRemoveDrops) {
    drelm_host_set_interface(0x1000, 1, 7);
    drelm_host_set_interface(0x1000, 1, 9);
    ASSERT_NE(if_record(0x1000), nullptr);
    EXPECT_EQ(if_record(0x1000)->drel_id, 9u);
    drelm_host_remove_interface(0x1000);
    EXPECT_EQ(if_record(0x1000), nullptr);
    drelm_host_remove_interface(0x1000); // absent: nothing happens
}

TEST(Drelm, KeysOfInterfacesAndTrunkDoNotMix) {
    drelm_sdb_key_t a{}, b{};
    ASSERT_EQ(drelm_sdb_generate_if_key(1, &a), 0);
    ASSERT_EQ(drelm_sdb_generate_mct_key(1, &b), 0);
    EXPECT_FALSE(a.table == b.table && a.id == b.id);
    drelm_host_set_interface(1, 1, 1);
    EXPECT_EQ(trunk_record(1), nullptr) << "an interface is not the trunk";
    drelm_host_set_mct(1);
    EXPECT_NE(trunk_record(1), static_cast<const void *>(if_record(1)));
}

TEST(Drelm, TrunkRecordExistsExactlyWhileTheTrunkDoes) {
    EXPECT_EQ(trunk_record(1), nullptr);
    drelm_host_set_mct(1);
    EXPECT_NE(trunk_record(1), nullptr);
    drelm_host_set_mct(0);
    EXPECT_EQ(trunk_record(1), nullptr);
}

TEST(Drelm, NullArgumentsAndUnknownTables) {
    EXPECT_NE(drelm_sdb_generate_if_key(1, nullptr), 0);
    EXPECT_NE(drelm_sdb_generate_mct_key(1, nullptr), 0);
    EXPECT_EQ(drelm_sdb_info_get(nullptr), nullptr);
    drelm_host_set_interface(5, 1, 1);
    drelm_host_set_mct(1);
    drelm_sdb_key_t other{99, 5};
    EXPECT_EQ(drelm_sdb_info_get(&other), nullptr);
    EXPECT_NE(drelm_api_get_pelk_oper_ver(nullptr, 1), 0);
}

TEST(Drelm, PeerProtocolVersionDefaultsTo40) {
    uint32_t ver = 0;
    ASSERT_EQ(drelm_api_get_pelk_oper_ver(&ver, 1), 0);
    EXPECT_EQ(ver, 40u);
    drelm_host_set_pelk_oper_ver(39);
    ASSERT_EQ(drelm_api_get_pelk_oper_ver(&ver, 1), 0);
    EXPECT_EQ(ver, 39u);
}

TEST(Drelm, LocalPeerLinkInterface) {
    EXPECT_EQ(drelm_api_get_local_drel_if_index(3, 0, 1), 0u);
    drelm_host_set_local_drel_if_index(3, 0x5000);
    drelm_host_set_local_drel_if_index(4, 0x6000);
    EXPECT_EQ(drelm_api_get_local_drel_if_index(3, 0, 1), 0x5000u);
    EXPECT_EQ(drelm_api_get_local_drel_if_index(4, 123, 1), 0x6000u);
    EXPECT_EQ(drelm_api_get_local_drel_if_index(5, 0, 1), 0u);
}

} // namespace
