# Where things go beneath the prefix, beyond what GNUInstallDirs says. The headers have a folder of
# their own as include root, so that they are included by the paths that they have in this tree.
set(CM_INSTALL_INCLUDEDIR "${CMAKE_INSTALL_INCLUDEDIR}/static-watermark")
set(CM_INSTALL_MODULEDIR "${CMAKE_INSTALL_LIBDIR}/cmhost")
