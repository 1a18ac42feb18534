# Installation of headers, engines, CMake package, pkg-config files, manual page and completion. The
# program, its library and the module are installed by the CMakeLists.txt that builds them. Component
# `program` is needed to run cmhost, `development` to build hosts and modules.
include(CMakePackageConfigHelpers)

# Headers keep their paths: an include directive is the same in the tree and with the package.
set(CM_PUBLIC_HEADERS
  lib/cm/CException.h lib/cm/CMComponent.h lib/cm/CMExport.h lib/cm/CString.h
  lib/cm/RConfiguration.h lib/cm/RDescription.h lib/cm/RFrame.h lib/cm/RPtr.h lib/cm/RQFrame.h
  lib/cm/object_refcount.h
  signal/gaussian_filter.h signal/processor_variant.h signal/vector_primitives.h
  video/resize/qor_resize.h
  video/watermark/blend_blocks.h video/watermark/blend_line.h video/watermark/overlay_plan.h
  video/watermark/watermark.h video/watermark/watermark_impl.h)
set(CM_DEVELOPMENT_TARGETS cm_contract signal_primitives video_resize video_watermark)
set(CM_PKG_CONFIG_FILES cm_contract signal_primitives video_resize video_watermark)
if(CM_BUILD_HOST)
  list(APPEND CM_PUBLIC_HEADERS
    host/cm/bounded_queue.h host/cm/filter_configuration.h host/cm/frame_queue.h
    host/cm/loop_context.h host/cm/picture_pool.h host/cm/video_description.h
    host/cm/video_frame.h)
  list(APPEND CM_PKG_CONFIG_FILES cm)
endif()

foreach(header IN LISTS CM_PUBLIC_HEADERS)
  cmake_path(GET header PARENT_PATH folder)
  install(FILES "${header}" DESTINATION "${CM_INSTALL_INCLUDEDIR}/${folder}" COMPONENT development)
endforeach()
install(TARGETS ${CM_DEVELOPMENT_TARGETS} EXPORT static_watermark
        ARCHIVE COMPONENT development
        INCLUDES DESTINATION "${CM_INSTALL_INCLUDEDIR}")

# find_package(static_watermark)
set(CM_INSTALL_CMAKEDIR "${CMAKE_INSTALL_LIBDIR}/cmake/static_watermark")
configure_package_config_file(
  cmake/static_watermark-config.cmake.in "${CMAKE_CURRENT_BINARY_DIR}/static_watermark-config.cmake"
  INSTALL_DESTINATION "${CM_INSTALL_CMAKEDIR}" PATH_VARS CM_INSTALL_MODULEDIR)
write_basic_package_version_file(
  "${CMAKE_CURRENT_BINARY_DIR}/static_watermark-config-version.cmake" COMPATIBILITY SameMajorVersion)
install(EXPORT static_watermark NAMESPACE static_watermark:: DESTINATION "${CM_INSTALL_CMAKEDIR}"
        FILE static_watermark-targets.cmake COMPONENT development)
install(FILES "${CMAKE_CURRENT_BINARY_DIR}/static_watermark-config.cmake"
              "${CMAKE_CURRENT_BINARY_DIR}/static_watermark-config-version.cmake"
        DESTINATION "${CM_INSTALL_CMAKEDIR}" COMPONENT development)

# pkg-config: the prefix is relative to the folder of the .pc file.
set(CM_INSTALL_PKGCONFIGDIR "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
file(RELATIVE_PATH CM_PKG_CONFIG_TO_PREFIX
     "${CMAKE_INSTALL_PREFIX}/${CM_INSTALL_PKGCONFIGDIR}" "${CMAKE_INSTALL_PREFIX}")
foreach(name IN LISTS CM_PKG_CONFIG_FILES)
  configure_file("cmake/pkgconfig/${name}.pc.in" "pkgconfig/${name}.pc" @ONLY)
  install(FILES "${CMAKE_CURRENT_BINARY_DIR}/pkgconfig/${name}.pc"
          DESTINATION "${CM_INSTALL_PKGCONFIGDIR}" COMPONENT development)
endforeach()

# Manual pages, compressed without a time stamp so that builds are reproducible, the completion, and the
# program that is a script.
if(CM_BUILD_HOST)
  find_program(CM_GZIP gzip REQUIRED)
  foreach(name IN ITEMS cmhost cmhost-parallel)
    set(page "${CMAKE_CURRENT_BINARY_DIR}/${name}.1.gz")
    add_custom_command(
      OUTPUT "${page}"
      COMMAND "${CM_GZIP}" -9nc "${CMAKE_CURRENT_SOURCE_DIR}/docs/${name}.1" > "${page}"
      DEPENDS "docs/${name}.1"
      VERBATIM)
    list(APPEND pages "${page}")
  endforeach()
  add_custom_target(manual_pages ALL DEPENDS ${pages})
  install(FILES ${pages} DESTINATION "${CMAKE_INSTALL_MANDIR}/man1" COMPONENT program)
  install(FILES packaging/cmhost.bash-completion RENAME cmhost
          DESTINATION "${CMAKE_INSTALL_DATADIR}/bash-completion/completions" COMPONENT program)
  install(PROGRAMS host/parallel/cmhost-parallel DESTINATION "${CMAKE_INSTALL_BINDIR}"
          COMPONENT program)
endif()
