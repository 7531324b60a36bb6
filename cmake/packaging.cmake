# SPDX-License-Identifier: Apache-2.0
# Debian packages built with CPack from the install components:
#   libzorvplat1     the host platform shared object (libzorvplat.so.1)
#   libzorvdrel1     the library shared object (libzorvdrel.so.1)
#   libzorvdrel-dev  headers, development symlinks, CMake package, pkg-config files, the example
#   drelsim          the peer-pair simulator, its example scenarios and its manual page
# each with a -dbgsym package of its debug information. Build them with `./dev package`, which
# also runs lintian on them; docs/packaging.md says what each holds and why lintian is content.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME zorvdrel)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "libzorvdrel maintainers <maintainers@zorvdrel.invalid>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL libzorvplat libzorvdrel dev)
if(TARGET drelsim)
  list(APPEND CPACK_COMPONENTS_ALL drelsim)
endif()
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
# Binaries are stripped; their debug information goes to <package>-dbgsym (.ddeb).
set(CPACK_DEBIAN_DEBUGINFO_PACKAGE ON)
# Dependencies on system libraries come from dpkg-shlibdeps; on each other from the components.
# The project's own shared objects are found in the build tree for dpkg-shlibdeps.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
get_target_property(zorv_plat_dir zorvplat BINARY_DIR)
get_target_property(zorv_drel_dir zorvdrel BINARY_DIR)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${zorv_plat_dir} ${zorv_drel_dir})
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_POST_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/debian/finish_packages.cmake)

# The release that introduced the exported names of this major version: the symbols files give
# it to every name, and shlibs asks for at least it.
set(ZORV_SYMBOLS_SINCE 1.0.0)
set(ZORV_DEBIAN_DIR ${PROJECT_BINARY_DIR}/debian)
find_program(ZORV_GZIP gzip REQUIRED)

# Every package carries the machine-readable copyright file and the changelog made from
# CHANGELOG.md.
add_custom_command(OUTPUT ${ZORV_DEBIAN_DIR}/changelog.gz
  COMMAND ${CMAKE_COMMAND} -DIN=${PROJECT_SOURCE_DIR}/CHANGELOG.md
          -DOUT=${ZORV_DEBIAN_DIR}/changelog.gz -DSOURCE=${CPACK_PACKAGE_NAME}
          "-DMAINTAINER=${CPACK_PACKAGE_CONTACT}" -DGZIP=${ZORV_GZIP}
          -P ${PROJECT_SOURCE_DIR}/cmake/debian/changelog.cmake
  DEPENDS ${PROJECT_SOURCE_DIR}/CHANGELOG.md ${PROJECT_SOURCE_DIR}/cmake/debian/changelog.cmake
  COMMENT "Debian changelog from CHANGELOG.md" VERBATIM)
set(zorv_debian_outputs ${ZORV_DEBIAN_DIR}/changelog.gz)

# zorv_debian_package(<component> <package> <summary> <description>): names the package of a
# component, gives it its own summary and description, and installs its copyright and changelog.
function(zorv_debian_package component package summary description)
  string(TOUPPER ${component} c)
  set(CPACK_DEBIAN_${c}_PACKAGE_NAME ${package} PARENT_SCOPE)
  set(CPACK_DEBIAN_${c}_DESCRIPTION "${summary}\n${description}" PARENT_SCOPE)
  install(FILES ${PROJECT_SOURCE_DIR}/cmake/debian/copyright ${ZORV_DEBIAN_DIR}/changelog.gz
          DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/${package} COMPONENT ${component})
endfunction()

# zorv_debian_library(<component> <target> <package>): the symbols, shlibs and triggers control
# files of a runtime library package, made from the built shared object.
function(zorv_debian_library component target package)
  set(dir ${ZORV_DEBIAN_DIR}/${package})
  add_custom_command(OUTPUT ${dir}/symbols ${dir}/shlibs ${dir}/triggers
    COMMAND ${CMAKE_COMMAND} -DLIB=$<TARGET_FILE:${target}> -DNM=${CMAKE_NM}
            -DREADELF=${CMAKE_READELF} -DPACKAGE=${package} -DDEV_PACKAGE=libzorvdrel-dev
            -DSINCE=${ZORV_SYMBOLS_SINCE} -DOUT=${dir}
            -P ${PROJECT_SOURCE_DIR}/cmake/debian/control_files.cmake
    DEPENDS ${target} ${PROJECT_SOURCE_DIR}/cmake/debian/control_files.cmake
    COMMENT "Debian control files of ${package}" VERBATIM)
  string(TOUPPER ${component} c)
  set(CPACK_DEBIAN_${c}_PACKAGE_CONTROL_EXTRA ${dir}/symbols ${dir}/shlibs ${dir}/triggers
      PARENT_SCOPE)
  set(zorv_debian_outputs ${zorv_debian_outputs} ${dir}/symbols ${dir}/shlibs ${dir}/triggers
      PARENT_SCOPE)
endfunction()

set(major ${PROJECT_VERSION_MAJOR})
zorv_debian_package(libzorvplat libzorvplat${major}
  "host platform services for libzorvdrel"
  "The tracked allocator, debug history, ordered tree, TLV array, VNI bitset,
peer-manager database, messages and managers that libzorvdrel calls, as a
real implementation for a development host, with the controls tests use.")
zorv_debian_library(libzorvplat zorvplat libzorvplat${major})

zorv_debian_package(libzorvdrel libzorvdrel${major}
  "type-1 parameter cache and checks of a link-aggregation peer manager"
  "Keeps a switch's VLAN-to-VNI type-1 parameters, exports them to the peer
switch as TLVs and checks local against remote parameters, so that a
mismatch in one VNI is charged to it alone. Plain C functions and records.")
zorv_debian_library(libzorvdrel zorvdrel libzorvdrel${major})
set(CPACK_COMPONENT_LIBZORVDREL_DEPENDS libzorvplat)

zorv_debian_package(dev libzorvdrel-dev
  "development files of libzorvdrel and its host platform"
  "The headers (include/zorvdrel: zorv_drel.h, its version macros and the
platform declarations), the unversioned library symlinks, the CMake package
(find_package(zorvdrel)), the pkg-config files zorvdrel.pc and zorvplat.pc,
and an example program with its CMake build file.")
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_COMPONENT_DEV_DEPENDS libzorvdrel libzorvplat)

if(TARGET drelsim)
  zorv_debian_package(drelsim drelsim
    "peer-pair simulator for libzorvdrel"
    "Runs the two switches of one link-aggregation pair on one machine, lets
libzorvdrel check their type-1 parameters and prints a consistency report.
Example scenarios are in /usr/share/drelsim/scenarios.")
  set(CPACK_DEBIAN_DRELSIM_PACKAGE_SECTION net)
  set(CPACK_COMPONENT_DRELSIM_DEPENDS libzorvdrel libzorvplat)
endif()

add_custom_target(zorv_debian_files ALL DEPENDS ${zorv_debian_outputs})

include(CPack)
