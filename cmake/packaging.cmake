# SPDX-License-Identifier: Apache-2.0
# Debian packages built with CPack from the install components:
#   libzorvplat1     the host platform shared object (libzorvplat.so.1)
#   libzorvdrel1     the library shared object (libzorvdrel.so.1)
#   libzorvdrel-dev  headers, development symlinks, CMake package and pkg-config files
#   drelsim          the peer-pair simulator and its example scenarios
# Build them with `./dev package` (or `cpack --config <build>/CPackConfig.cmake`).
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME zorvdrel)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "libzorvdrel maintainers <maintainers@zorvdrel.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "type-1 parameter library of a switch's link-aggregation peer manager")
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
# Dependencies on system libraries come from dpkg-shlibdeps; on each other from the components.
# The project's own shared objects are found in the build tree for dpkg-shlibdeps.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
get_target_property(zorv_plat_dir zorvplat BINARY_DIR)
get_target_property(zorv_drel_dir zorvdrel BINARY_DIR)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${zorv_plat_dir} ${zorv_drel_dir})
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)

set(CPACK_DEBIAN_LIBZORVPLAT_PACKAGE_NAME libzorvplat${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_LIBZORVPLAT_DESCRIPTION
    "host platform services for libzorvdrel\nThe tracked allocator, debug history, ordered tree, TLV array, VNI bitset,\npeer-manager database, messages and managers that libzorvdrel calls, as a real\nimplementation for a development host, with the host controls tests use.")

set(CPACK_DEBIAN_LIBZORVDREL_PACKAGE_NAME libzorvdrel${PROJECT_VERSION_MAJOR})
set(CPACK_COMPONENT_LIBZORVDREL_DEPENDS libzorvplat)
set(CPACK_DEBIAN_LIBZORVDREL_DESCRIPTION
    "type-1 parameter cache, export and compatibility check\nKeeps a switch's VLAN-to-VNI type-1 parameters, exports them to the peer switch\nas TLVs and checks local against remote parameters. Plain C functions and records.")

set(CPACK_DEBIAN_DEV_PACKAGE_NAME libzorvdrel-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_COMPONENT_DEV_DEPENDS libzorvdrel libzorvplat)
set(CPACK_DEBIAN_DEV_DESCRIPTION
    "development files of libzorvdrel and its host platform\nThe public header zorv_drel.h, the platform headers, the unversioned library\nsymlinks, the CMake package (find_package(zorvdrel)) and the pkg-config files\nzorvdrel.pc and zorvplat.pc.")

set(CPACK_DEBIAN_DRELSIM_PACKAGE_NAME drelsim)
set(CPACK_DEBIAN_DRELSIM_PACKAGE_SECTION net)
set(CPACK_COMPONENT_DRELSIM_DEPENDS libzorvdrel libzorvplat)
set(CPACK_DEBIAN_DRELSIM_DESCRIPTION
    "peer-pair simulator for libzorvdrel\nRuns the two switches of one link-aggregation pair on one machine, lets\nlibzorvdrel check their type-1 parameters and prints a consistency report.\nExample scenarios are in /usr/share/drelsim/scenarios.")

include(CPack)
