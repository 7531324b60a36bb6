# SPDX-License-Identifier: Apache-2.0
# The linker name of an own platform (ZORV_PLATFORM_LIBRARY): what the installed zorvdrel.pc
# links with -l<name> and what the installed CMake package looks for, so that no path of the
# build machine ends up in them. Derived from a path (/x/libswitchplat.so.2 -> switchplat), a
# linker name (kept) or an imported target (from its file); ZORV_PLATFORM_LINK_NAME overrides.
set(ZORV_PLATFORM_LINK_NAME "" CACHE STRING "Linker name of the own platform in the installed package files (default: from ZORV_PLATFORM_LIBRARY)")
if(NOT ZORV_PLATFORM_LINK_NAME)
  set(zorv_platform_file ${ZORV_PLATFORM_LIBRARY})
  if(TARGET ${ZORV_PLATFORM_LIBRARY})
    get_target_property(zorv_platform_file ${ZORV_PLATFORM_LIBRARY} LOCATION)
  endif()
  set(zorv_platform_name "")
  if(zorv_platform_file)
    get_filename_component(zorv_platform_name "${zorv_platform_file}" NAME)
  endif()
  string(REGEX REPLACE "^lib" "" zorv_platform_name "${zorv_platform_name}")
  string(REGEX REPLACE "\\.(so|a)(\\.[0-9]+)*$" "" zorv_platform_name "${zorv_platform_name}")
  if(NOT zorv_platform_name MATCHES "^[A-Za-z0-9_+.-]+$")
    message(FATAL_ERROR "cannot tell the linker name of ZORV_PLATFORM_LIBRARY "
                        "'${ZORV_PLATFORM_LIBRARY}'; set ZORV_PLATFORM_LINK_NAME")
  endif()
  set(ZORV_PLATFORM_LINK_NAME ${zorv_platform_name})
endif()
