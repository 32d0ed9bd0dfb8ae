# Where things go when they are installed, for native builds; Windows has its installers, which ./package makes. The folders
# are those of GNUInstallDirs: Debian's for the prefix /usr. Nothing installed knows where it lies: tool and library find
# the components by the ways given here, the package files for CMake and pkg-config by their own place, so that an
# installed tree can be moved, as it is by DESTDIR and --prefix.
#
# Three parts can be installed by themselves (cmake --install TREE --component NAME): tool (the tool, the components and
# their documents), host (the library that programs of others are linked with) and dev (what these are built with).
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

# Loaded by name, never linked with, so not where the linker looks.
set(VANTOR_COMPONENT_FOLDER ${CMAKE_INSTALL_LIBDIR}/vantor-mkv)
set(full_component_folder ${CMAKE_INSTALL_FULL_LIBDIR}/vantor-mkv)
file(RELATIVE_PATH VANTOR_COMPONENTS_FROM_PROGRAMS ${CMAKE_INSTALL_FULL_BINDIR} ${full_component_folder})
file(RELATIVE_PATH VANTOR_COMPONENTS_FROM_LIBRARIES ${CMAKE_INSTALL_FULL_LIBDIR} ${full_component_folder})

# What a system's packages bring lies apart, in Debian's zsh.
if(CMAKE_INSTALL_PREFIX STREQUAL "/usr" AND EXISTS /etc/debian_version)
  set(zsh_functions vendor-completions)
else()
  set(zsh_functions site-functions)
endif()
set(VANTOR_ZSH_FUNCTIONS ${zsh_functions} CACHE STRING "The folder of zsh's completions, in that of its data")

# To be called when all targets are there.
function(vantor_install)
  install(TARGETS vantor_mkv RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tool)
  install(TARGETS vantormkv vantormkv_complete LIBRARY DESTINATION ${VANTOR_COMPONENT_FOLDER} COMPONENT tool)
  set(pages ${PROJECT_BINARY_DIR}/src/tools)
  install(FILES ${pages}/man/vantor-mkv.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tool)
  install(FILES ${pages}/bash/vantor-mkv DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT tool)
  install(FILES ${pages}/zsh/_vantor-mkv DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/${VANTOR_ZSH_FUNCTIONS} COMPONENT tool)
  install(FILES ${pages}/fish/vantor-mkv.fish DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d
          COMPONENT tool)
  install(FILES CHANGELOG.md docs/tool.md docs/findings.md docs/behaviour.md docs/format.md docs/hosting.md
          docs/vantor-mkv.schema.json
          DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT tool)

  install(TARGETS vantor_mkv_host EXPORT VantorMkvTargets
          LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT host NAMELINK_COMPONENT dev)
  install(DIRECTORY ${PROJECT_BINARY_DIR}/src/hosting/include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT dev)
  install(DIRECTORY examples DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT dev)

  set(folder ${CMAKE_INSTALL_LIBDIR}/cmake/VantorMkv)
  install(EXPORT VantorMkvTargets NAMESPACE VantorMkv:: DESTINATION ${folder} COMPONENT dev)
  configure_package_config_file(cmake/VantorMkvConfig.cmake.in VantorMkvConfig.cmake INSTALL_DESTINATION ${folder}
                                NO_SET_AND_CHECK_MACRO)
  write_basic_package_version_file(VantorMkvConfigVersion.cmake COMPATIBILITY SameMajorVersion)
  install(FILES ${PROJECT_BINARY_DIR}/VantorMkvConfig.cmake ${PROJECT_BINARY_DIR}/VantorMkvConfigVersion.cmake
          DESTINATION ${folder} COMPONENT dev)

  set(pkgconfig_folder ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig)
  file(RELATIVE_PATH PREFIX_FROM_PKGCONFIG ${pkgconfig_folder} ${CMAKE_INSTALL_PREFIX})
  file(RELATIVE_PATH LIBDIR_FROM_PREFIX ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_LIBDIR})
  file(RELATIVE_PATH INCLUDEDIR_FROM_PREFIX ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_INCLUDEDIR})
  configure_file(cmake/vantor-mkv.pc.in vantor-mkv.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/vantor-mkv.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT dev)
endfunction()
