// SPDX-License-Identifier: Apache-2.0
#include "drel_api.h"

#include <dlfcn.h>

#include <cstdlib>

namespace drelsim {

std::string drel_library_path() {
    if (const char *env = std::getenv("ZORV_DREL_SO"); env && *env) return env;
    return DRELSIM_DREL_SONAME;
}

bool load_drel(DrelApi &api, std::string &error) {
    api.path = drel_library_path();
    api.handle = dlopen(api.path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!api.handle) {
        const char *e = dlerror();
        error = "cannot load " + api.path + ": " + (e ? e : "unknown error");
        return false;
    }
    bool ok = true;
    auto resolve = [&](auto &field, const char *name) {
        field = reinterpret_cast<std::remove_reference_t<decltype(field)>>(dlsym(api.handle, name));
        if (!field) {
            error += std::string(error.empty() ? "" : ", ") + name;
            ok = false;
        }
    };
#define DRELSIM_RESOLVE(field, symbol) resolve(api.field, #symbol)
    DRELSIM_RESOLVE(param_extractor, zorv_drel_type1_cfg_param_extractor);
    DRELSIM_RESOLVE(cache_update, zorv_drel_type1_cfg_cache_update);
    DRELSIM_RESOLVE(cache_rebuild, zorv_drel_type1_cfg_cache_rebuild);
    DRELSIM_RESOLVE(get_params, zorv_drel_type1_cfg_get_params);
    DRELSIM_RESOLVE(get_param_info, zorv_drel_type1_cfg_get_param_info);
    DRELSIM_RESOLVE(compat_check, zorv_drel_type1_cfg_compat_check);
    DRELSIM_RESOLVE(gbl_compat_check, zorv_drel_type1_cfg_gbl_compat_check);
    DRELSIM_RESOLVE(rmt_cfg_cache_rebuild, zorv_drel_type1_rmt_cfg_cache_rebuild);
    DRELSIM_RESOLVE(get_bd_for_vni, zorv_drel_lib_get_bd_for_vni);
    DRELSIM_RESOLVE(encap_map_to_str, zorv_drel_gbl_tlv_encap_map_to_str);
#undef DRELSIM_RESOLVE
    if (!ok) error = api.path + " lacks the entry points " + error;
    return ok;
}

void unload_drel(DrelApi &api) {
    if (api.handle) dlclose(api.handle);
    api = DrelApi{};
}

} // namespace drelsim
