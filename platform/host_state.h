/* SPDX-License-Identifier: Apache-2.0 */
// host_state.h - the per-service reset operations that platform_host_reset runs. Not installed.
#ifndef PLATFORM_HOST_STATE_H
#define PLATFORM_HOST_STATE_H

#define ZORVPLAT_HIDDEN __attribute__((visibility("hidden")))

namespace zorvplat {

// Each returns its service to the state at process start (see platform_host_reset).
ZORVPLAT_HIDDEN void tracked_mem_reset() noexcept;
ZORVPLAT_HIDDEN void debug_history_reset() noexcept;
ZORVPLAT_HIDDEN void drelm_reset() noexcept;
ZORVPLAT_HIDDEN void cli_reset() noexcept;
ZORVPLAT_HIDDEN void bdmgr_reset() noexcept;
ZORVPLAT_HIDDEN void ifmgr_reset() noexcept;
ZORVPLAT_HIDDEN void sysmgr_reset() noexcept;

// State that must outlive every static destructor: a library's unload-time destructor may still
// call into the platform after the platform's own statics would have been destroyed at exit.
template <typename T> T &immortal() {
    static T *p = new T();
    return *p;
}

} // namespace zorvplat

#endif
