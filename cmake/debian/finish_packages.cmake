# SPDX-License-Identifier: Apache-2.0
# Run by CPack after it has written the packages (CPACK_POST_BUILD_SCRIPTS, with
# CPACK_PACKAGE_FILES). It mends what CPack gets wrong and has no switch for, and rebuilds each
# package with dpkg-deb:
#  - a .deb with a shared object under /usr/lib gets a postinst and a postrm that only call
#    ldconfig; the package's `triggers` file (activate-noawait ldconfig) does that job, so those
#    two scripts are taken out (any other maintainer script is kept);
#  - CPack strips with --strip-unneeded, which keeps the compiler's .comment section; it is
#    removed as Debian's own stripping does it, and md5sums written anew;
#  - a -dbgsym .ddeb lists its files in md5sums by their absolute path in CPack's staging
#    directory, ships the debug files executable, and has no copyright or changelog: md5sums is
#    rewritten, the files made 0644, and /usr/share/doc/<package>-dbgsym becomes a symlink to
#    the documentation of the package it depends on (as debhelper does it).
find_program(DPKG_DEB dpkg-deb REQUIRED)
find_program(OBJCOPY objcopy REQUIRED)

# rebuild(<deb> <tree>): writes the package <deb> anew from the unpacked <tree>.
function(rebuild deb tree)
  execute_process(COMMAND ${DPKG_DEB} --root-owner-group --build ${tree} ${deb}
                  RESULT_VARIABLE rc OUTPUT_QUIET ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "dpkg-deb --build ${deb} failed: ${err}")
  endif()
endfunction()

# write_md5sums(<tree>): DEBIAN/md5sums of the regular files below usr/, by relative path.
function(write_md5sums tree)
  file(GLOB_RECURSE files LIST_DIRECTORIES false RELATIVE ${tree} ${tree}/usr/*)
  list(SORT files)
  set(sums "")
  foreach(f IN LISTS files)
    if(NOT IS_SYMLINK ${tree}/${f})
      file(MD5 ${tree}/${f} sum)
      string(APPEND sums "${sum}  ${f}\n")
    endif()
  endforeach()
  file(WRITE ${tree}/DEBIAN/md5sums "${sums}")
endfunction()

# finish_deb(<deb> <tree>)
function(finish_deb deb tree)
  foreach(script postinst postrm)
    set(f ${tree}/DEBIAN/${script})
    if(EXISTS ${f})
      file(READ ${f} body)
      string(REGEX REPLACE "#[^\n]*\n|set -e|if \\[ \"\\$1\" = \"[a-z]+\" \\]; then|ldconfig|fi|[ \t\n]"
             "" rest "${body}")
      if(rest STREQUAL "")
        if(NOT EXISTS ${tree}/DEBIAN/triggers)
          message(FATAL_ERROR "${deb} calls ldconfig from its maintainer scripts but has no trigger")
        endif()
        file(REMOVE ${f})
      endif()
    endif()
  endforeach()
  file(GLOB_RECURSE files LIST_DIRECTORIES false ${tree}/usr/*)
  foreach(f IN LISTS files)
    if(NOT IS_SYMLINK ${f})
      file(READ ${f} magic LIMIT 4 HEX)
      if(magic STREQUAL "7f454c46")
        execute_process(COMMAND ${OBJCOPY} --remove-section=.comment ${f} RESULT_VARIABLE rc)
        if(NOT rc EQUAL 0)
          message(FATAL_ERROR "objcopy --remove-section=.comment ${f} failed")
        endif()
      endif()
    endif()
  endforeach()
  write_md5sums(${tree})
  rebuild(${deb} ${tree})
endfunction()

# finish_dbgsym(<ddeb> <tree>)
function(finish_dbgsym ddeb tree)
  file(STRINGS ${tree}/DEBIAN/control package REGEX "^Package: ")
  string(REGEX REPLACE "^Package: (.*)-dbgsym$" "\\1" main "${package}")
  file(GLOB_RECURSE files LIST_DIRECTORIES false ${tree}/usr/*)
  foreach(f IN LISTS files)
    file(CHMOD ${f} FILE_PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
  endforeach()
  write_md5sums(${tree})
  file(MAKE_DIRECTORY ${tree}/usr/share/doc)
  file(CREATE_LINK ${main} ${tree}/usr/share/doc/${main}-dbgsym SYMBOLIC)
  rebuild(${ddeb} ${tree})
endfunction()

foreach(deb IN LISTS CPACK_PACKAGE_FILES)
  if(NOT deb MATCHES "\\.d?deb$")
    continue()
  endif()
  set(tree ${deb}.tree)
  file(REMOVE_RECURSE ${tree})
  execute_process(COMMAND ${DPKG_DEB} --raw-extract ${deb} ${tree} RESULT_VARIABLE rc)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "dpkg-deb --raw-extract ${deb} failed")
  endif()
  if(deb MATCHES "\\.ddeb$")
    finish_dbgsym(${deb} ${tree})
  else()
    finish_deb(${deb} ${tree})
  endif()
  file(REMOVE_RECURSE ${tree})
endforeach()
