# `cmake --install`: libbackupset.so with its version links, the headers an
# agent compiles against, catalogd and bsetctl, and the files through which
# find_package(backupset) and pkg-config find the library. Everything
# installed refers to other installed files by relative paths, so the tree
# can be installed under any prefix and moved.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(BSET_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/backupset)

# The platform archives are folded into the shared object and linked to it
# privately, so the export names only the library and the two packages its
# headers include (PkgConfig::ACE, PkgConfig::YAJL).
install(TARGETS backupset EXPORT backupsetTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

# The programs find the installed library next to them, wherever the prefix.
file(RELATIVE_PATH bset_bin_to_lib /prefix/${CMAKE_INSTALL_BINDIR} /prefix/${CMAKE_INSTALL_LIBDIR})
foreach(program catalogd bsetctl)
  if(TARGET ${program})
    set_property(TARGET ${program} PROPERTY INSTALL_RPATH "$ORIGIN/${bset_bin_to_lib}")
    install(TARGETS ${program} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  endif()
endforeach()

# Public headers: every header of the library's folder, the ones an agent
# needs to reach the server (the JSON-RPC channel, the upstream REST client,
# JSON text), and whatever they include of the tree, followed at install
# time so that a new include never leaves the installed tree short. The
# script also refuses a third-party include other than ACE's and yajl's,
# which are what the package below promises to provide.
set(BSET_HEADER_ROOTS
  "backup/backup_set/common/*.h"
  platform/rpc/global_json_rpc_channel.h
  platform/rest/upstream_json_restful_client.h
  platform/json/json_text.h)
set(BSET_HEADER_PACKAGES ace yajl)
install(CODE "
  set(BSET_SOURCE_DIR \"${PROJECT_SOURCE_DIR}\")
  set(BSET_HEADER_ROOTS \"${BSET_HEADER_ROOTS}\")
  set(BSET_HEADER_PACKAGES \"${BSET_HEADER_PACKAGES}\")
  set(BSET_INCLUDE_DIR \"${CMAKE_INSTALL_INCLUDEDIR}\")
  include(\"${PROJECT_SOURCE_DIR}/cmake/install_headers.cmake\")")

install(EXPORT backupsetTargets NAMESPACE backupset:: DESTINATION ${BSET_PACKAGE_DIR})
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/backupsetConfig.cmake.in
  ${PROJECT_BINARY_DIR}/package/backupsetConfig.cmake
  INSTALL_DESTINATION ${BSET_PACKAGE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/package/backupsetConfigVersion.cmake
  VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/package/backupsetConfig.cmake
  ${PROJECT_BINARY_DIR}/package/backupsetConfigVersion.cmake
  DESTINATION ${BSET_PACKAGE_DIR})

# pkg-config: the paths start from the .pc file's own directory.
set(bset_pc_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
if(IS_ABSOLUTE ${CMAKE_INSTALL_LIBDIR})
  set(BSET_PC_PREFIX ${CMAKE_INSTALL_PREFIX})
else()
  file(RELATIVE_PATH bset_pc_up /prefix/${bset_pc_dir} /prefix)
  string(REGEX REPLACE "/$" "" bset_pc_up "${bset_pc_up}")
  set(BSET_PC_PREFIX "\${pcfiledir}/${bset_pc_up}")
endif()
foreach(dir LIBDIR INCLUDEDIR)
  if(IS_ABSOLUTE ${CMAKE_INSTALL_${dir}})
    set(BSET_PC_${dir} ${CMAKE_INSTALL_${dir}})
  else()
    set(BSET_PC_${dir} "\${prefix}/${CMAKE_INSTALL_${dir}}")
  endif()
endforeach()
configure_file(${PROJECT_SOURCE_DIR}/cmake/backupset.pc.in ${PROJECT_BINARY_DIR}/package/backupset.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/package/backupset.pc DESTINATION ${bset_pc_dir})
