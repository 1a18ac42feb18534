# Debian packages: run `cpack` in a build configured with the prefix /usr, or script/package, which does
# both and checks the result with lintian.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_VENDOR "static_watermark maintainers")
set(CPACK_PACKAGE_CONTACT
    "static_watermark maintainers <maintainers@users.noreply.c-seed-2b5993db.example>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # each package has its own description
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_COMPONENTS_ALL program development)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(CPACK_DEBIAN_PROGRAM_PACKAGE_NAME cmhost)
set(CPACK_DEBIAN_PROGRAM_PACKAGE_SECTION video)
set(CPACK_DEBIAN_PROGRAM_PACKAGE_SHLIBDEPS ON)
# What cmhost-parallel runs.
set(CPACK_DEBIAN_PROGRAM_PACKAGE_RECOMMENDS "ffmpeg, parallel")
set(CPACK_DEBIAN_PROGRAM_PACKAGE_SUGGESTS "openssh-client, rsync")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${CMAKE_CURRENT_BINARY_DIR}/host")
set(CPACK_DEBIAN_PROGRAM_PACKAGE_CONTROL_EXTRA
    "${PROJECT_SOURCE_DIR}/packaging/debian/triggers"
    "${CMAKE_CURRENT_BINARY_DIR}/packaging/shlibs")
file(WRITE "${CMAKE_CURRENT_BINARY_DIR}/packaging/shlibs"
     "libcm ${PROJECT_VERSION_MAJOR} cmhost (>= ${PROJECT_VERSION})\n")
set(CPACK_DEBIAN_PROGRAM_DESCRIPTION
"run videos through filter modules, such as a watermark
cmhost decodes a video, runs every frame through a filter module and writes
the result; audio and other streams are copied. It works on files and in pipes.
.
The included module stamps a fixed mark on every frame. The same frames give
the same bytes on every machine.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME static-watermark-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "cmhost (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION
"development files for cmhost: hosts and modules
Headers of the contract between a media host and its filter modules, and the
engines of the watermark module as static libraries: a compositor, a planar
video resizer and vector primitives. Includes a CMake package, pkg-config
files and examples.")

# Every package contains the changelog and the copyright file.
if(CMAKE_INSTALL_PREFIX STREQUAL "/usr" AND CM_BUILD_HOST)
  set(changelog "${CMAKE_CURRENT_BINARY_DIR}/changelog.gz")
  add_custom_command(
    OUTPUT "${changelog}"
    COMMAND "${CM_GZIP}" -9nc "${CMAKE_CURRENT_SOURCE_DIR}/packaging/debian/changelog"
            > "${changelog}"
    DEPENDS packaging/debian/changelog
    VERBATIM)
  add_custom_target(changelog ALL DEPENDS "${changelog}")
  foreach(package IN ITEMS "program:cmhost" "development:static-watermark-dev")
    string(REPLACE ":" ";" package "${package}")
    list(GET package 0 component)
    list(GET package 1 name)
    install(FILES "${changelog}" packaging/debian/copyright
            DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/${name}" COMPONENT ${component})
  endforeach()
  install(FILES packaging/debian/lintian-overrides RENAME cmhost
          DESTINATION "${CMAKE_INSTALL_DATADIR}/lintian/overrides" COMPONENT program)
  install(FILES docs/writing-a-host.md docs/writing-a-module.md
          DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/static-watermark-dev" COMPONENT development)
  install(DIRECTORY docs/examples
          DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/static-watermark-dev" COMPONENT development)
endif()

include(CPack)
