# Installation folders in addition to those of GNUInstallDirs. The headers have their own include root,
# so that they are included by the same paths as in this tree.
set(CM_INSTALL_INCLUDEDIR "${CMAKE_INSTALL_INCLUDEDIR}/static-watermark")
set(CM_INSTALL_MODULEDIR "${CMAKE_INSTALL_LIBDIR}/cmhost")
