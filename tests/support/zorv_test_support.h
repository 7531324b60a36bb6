// zorv_test_support.h - shared test helpers: reading the library's debug history, tracked
// memory counters, and building TLV arrays and messages.
#ifndef ZORV_TEST_SUPPORT_H
#define ZORV_TEST_SUPPORT_H

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <platform/platform.h>
#include <zorv_drel.h>

namespace zt {

constexpr uint32_t kSvc = ZORV_DREL_LIB_SERVICE_ID;

// Every event the library's debug history holds, oldest first.
std::vector<std::string> events();
// Events that are exactly "<fn>(<line>)<text>" for some line number. `text` starts after the
// closing parenthesis, e.g. log_count("zorv_drel_lib_alloc_tlv", ": Unsupported type:3\n").
size_t log_count(std::string_view fn, std::string_view text);
// Number of logged events, whatever their prefix, whose text contains `part`.
size_t logs_containing(std::string_view part);
inline bool has_log(std::string_view fn, std::string_view text) { return log_count(fn, text) > 0; }
// Events equal to `text` exactly (lines without a function-and-line prefix).
size_t raw_count(std::string_view text);
inline bool has_raw(std::string_view text) { return raw_count(text) > 0; }
// The debug history as one text, for failure messages.
std::string dump_events();

// Tracked-allocator counters of the library (mem_type -1: all types).
tracked_mem_stats_t stats(int32_t mem_type = -1);
inline uint64_t live_blocks(int32_t mem_type = -1) { return stats(mem_type).live_blocks; }

// A growable aligned TLV array for tests.
class tlv_buf {
public:
    explicit tlv_buf(uint32_t capacity = 1u << 20);
    tlv_buf &add(uint16_t type, const void *value, uint16_t len);
    template <typename T> tlv_buf &add(uint16_t type, const T &v) {
        return add(type, &v, static_cast<uint16_t>(sizeof v));
    }
    tlv_array_t *get() { return reinterpret_cast<tlv_array_t *>(storage_.data()); }
    const tlv_array_t *get() const {
        return reinterpret_cast<const tlv_array_t *>(storage_.data());
    }
    uint32_t size() const { return 4u + get()->len; } // header plus TLVs
private:
    std::vector<uint64_t> storage_; // 8-aligned backing store, zero-filled
    uint32_t capacity_;
};

// A type-9 value with the given pairs (vni, dot1q), allowed VLANs and profile name.
std::vector<uint8_t> make_vsi_all(uint32_t if_index, uint32_t vsi, uint32_t admin,
                                  uint32_t map_mode,
                                  const std::vector<std::pair<uint32_t, uint32_t>> &pairs,
                                  const std::vector<uint32_t> &allowed_vlans = {},
                                  const std::string &prof_name = "");

// A type-2 value (profile name and VLAN-to-VNI pairs); 16 KiB, so it lives on the heap.
std::unique_ptr<encap_map_t>
map_val(const std::string &name, const std::vector<std::pair<uint32_t, uint32_t>> &vlan_vni = {});

// An update-record payload {is_delete, if_index, param_len, array}, optionally behind the
// 16-byte header of the header form (resp_present set).
std::vector<uint8_t> make_update(uint32_t is_delete, uint32_t if_index, const tlv_buf &array,
                                 bool with_header);

}  // namespace zt

#endif
