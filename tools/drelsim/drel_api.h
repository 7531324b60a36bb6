/* SPDX-License-Identifier: Apache-2.0 */
// The library's entry points, resolved by name after dlopen, as a peer manager does.
#pragma once

#include <string>

#include <zorv_drel.h>

namespace drelsim {

struct DrelApi {
    void *handle = nullptr;
    std::string path;
    decltype(&zorv_drel_type1_cfg_param_extractor) param_extractor = nullptr;
    decltype(&zorv_drel_type1_cfg_cache_update) cache_update = nullptr;
    decltype(&zorv_drel_type1_cfg_cache_rebuild) cache_rebuild = nullptr;
    decltype(&zorv_drel_type1_cfg_get_params) get_params = nullptr;
    decltype(&zorv_drel_type1_cfg_get_param_info) get_param_info = nullptr;
    decltype(&zorv_drel_type1_cfg_compat_check) compat_check = nullptr;
    decltype(&zorv_drel_type1_cfg_gbl_compat_check) gbl_compat_check = nullptr;
    decltype(&zorv_drel_type1_rmt_cfg_cache_rebuild) rmt_cfg_cache_rebuild = nullptr;
    decltype(&zorv_drel_lib_get_bd_for_vni) get_bd_for_vni = nullptr;
    decltype(&zorv_drel_gbl_tlv_encap_map_to_str) encap_map_to_str = nullptr;
};

// What is loaded: $ZORV_DREL_SO when set, else the library's SONAME (libzorvdrel.so.1), which the
// loader looks up through this program's run path: the build tree's library directory in a
// build, ../lib beside the program once installed, then the system's library path.
std::string drel_library_path();

// Loads the library and resolves every entry point; false with `error` set when one is missing.
bool load_drel(DrelApi &api, std::string &error);
void unload_drel(DrelApi &api);

} // namespace drelsim
