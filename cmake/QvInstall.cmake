# The package: headers, qv::toolkit (static, for applications that bring their own job), the workbench and
# qv::host (its import side, for modules), CMake and pkg-config files,
# and the CMake functions that put resources into programs.
include(CMakePackageConfigHelpers)
include(GNUInstallDirs)

set(config_dir ${CMAKE_INSTALL_LIBDIR}/cmake/qv)

install(DIRECTORY "${PROJECT_SOURCE_DIR}/qv/" DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/qv
        FILES_MATCHING PATTERN "*.h"
        PATTERN "detail" EXCLUDE PATTERN "workbench" EXCLUDE PATTERN "linux" EXCLUDE)

install(TARGETS qv_toolkit EXPORT qv ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
        INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(TARGETS stub RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(TARGETS workbench RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})

install(EXPORT qv NAMESPACE qv:: DESTINATION ${config_dir} FILE qvTargets.cmake)
configure_package_config_file(cmake/qvConfig.cmake.in "${PROJECT_BINARY_DIR}/qvConfig.cmake"
                              INSTALL_DESTINATION ${config_dir}
                              PATH_VARS CMAKE_INSTALL_INCLUDEDIR CMAKE_INSTALL_LIBDIR CMAKE_INSTALL_BINDIR)
write_basic_package_version_file("${PROJECT_BINARY_DIR}/qvConfigVersion.cmake" COMPATIBILITY SameMinorVersion)
install(FILES "${PROJECT_BINARY_DIR}/qvConfig.cmake" "${PROJECT_BINARY_DIR}/qvConfigVersion.cmake"
              cmake/QvResources.cmake cmake/program_resources.cpp.in
        DESTINATION ${config_dir})

# pkg-config serves the static library; what it needs from the system differs by build.
if(WIN32)
  set(QV_PC_LIBS "-lz -lversion -lole32 -lgdi32 -luser32 -ladvapi32 -lwinmm -lmsi -fopenmp -static")
else()
  set(QV_PC_LIBS "-lz -licui18n -licuuc -lsqlite3 -lcurl -lxml2 -fopenmp -lpthread -ldl")
endif()
configure_file(cmake/qv.pc.in "${PROJECT_BINARY_DIR}/qv.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/qv.pc" DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
