# Where "cmake --install" puts things, below its prefix. Components: server, discovery (the plug-in), control (kvtctl),
# framework and slp (what programs of others load), framework_dev and slp_dev (what they are built with).
include(GNUInstallDirs)

# The host looks for plug-ins in lib/kvt-server beside its own folder, whatever the folder of libraries is called.
set(KVT_PLUGIN_DIR lib/kvt-server)
set(KVT_INCLUDE_DIR "${CMAKE_INSTALL_INCLUDEDIR}/kvt-server")
set(KVT_CMAKE_DIR "${CMAKE_INSTALL_LIBDIR}/cmake/ServerDiscovery")
set(KVT_DOC_DIR "${CMAKE_INSTALL_DATAROOTDIR}/doc/kvt-server")

# Programs find the libraries of their own prefix, so that a tree can be installed anywhere and moved.
file(RELATIVE_PATH kvtLibrariesFromPrograms "/${CMAKE_INSTALL_SBINDIR}" "/${CMAKE_INSTALL_LIBDIR}")
file(RELATIVE_PATH kvtLibrariesFromPlugins "/${KVT_PLUGIN_DIR}" "/${CMAKE_INSTALL_LIBDIR}")
set(KVT_PROGRAM_RPATH "$ORIGIN/${kvtLibrariesFromPrograms}")
set(KVT_PLUGIN_RPATH "$ORIGIN/${kvtLibrariesFromPlugins}")

# What is to be installed was built before: "cmake --build" first.
set(CMAKE_SKIP_INSTALL_ALL_DEPENDENCY ON)
