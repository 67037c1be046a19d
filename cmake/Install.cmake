# What `cmake --install` lays out. Everything finds its neighbours by relative paths, so that the
# installed tree may be moved. The components are the Debian packages of Package.cmake.
include(CMakePackageConfigHelpers)
set(cmake_package_directory "${CMAKE_INSTALL_LIBDIR}/cmake/wolkcore")

install(TARGETS wolkcore EXPORT wolkcore
    LIBRARY COMPONENT runtime NAMELINK_COMPONENT development
    ARCHIVE COMPONENT development)
install(TARGETS quillon EXPORT wolkcore RUNTIME COMPONENT quillon)
install(TARGETS wolk-heap-report RUNTIME COMPONENT quillon)
foreach(folder log osapi koba xml dds)
    install(DIRECTORY ${folder} DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/wolkcore"
        COMPONENT development FILES_MATCHING PATTERN "*.h" PATTERN "*.msg")
endforeach()

# find_package(wolkcore)
configure_file(packaging/wolkcoreConfig.cmake.in wolkcoreConfig.cmake @ONLY)
write_basic_package_version_file(wolkcoreConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(EXPORT wolkcore NAMESPACE wolkcore:: FILE wolkcoreTargets.cmake
    DESTINATION "${cmake_package_directory}" COMPONENT development)
install(FILES
    "${PROJECT_BINARY_DIR}/wolkcoreConfig.cmake" "${PROJECT_BINARY_DIR}/wolkcoreConfigVersion.cmake"
    packaging/quillon_generate.cmake
    DESTINATION "${cmake_package_directory}" COMPONENT development)
install(PROGRAMS packaging/quillon_generate.sh
    DESTINATION "${cmake_package_directory}" COMPONENT development)

# pkg-config wolkcore
cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX
    BASE_DIRECTORY "${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig" OUTPUT_VARIABLE pc_prefix)
cmake_path(APPEND pc_libdir "\${prefix}" "${CMAKE_INSTALL_LIBDIR}")
cmake_path(APPEND pc_includedir "\${prefix}" "${CMAKE_INSTALL_INCLUDEDIR}")
# Only a shared library knows by itself that it needs expat.
set(pc_requires Requires)
if(BUILD_SHARED_LIBS)
    set(pc_requires Requires.private)
endif()
configure_file(packaging/wolkcore.pc.in wolkcore.pc @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/wolkcore.pc"
    DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig" COMPONENT development)

# Manuals and completions
install(FILES packaging/quillon.1 packaging/wolk-heap-report.1
    DESTINATION "${CMAKE_INSTALL_MANDIR}/man1" COMPONENT quillon)
install(FILES packaging/completions/quillon.bash RENAME quillon
    DESTINATION "${CMAKE_INSTALL_DATADIR}/bash-completion/completions" COMPONENT quillon)
install(FILES packaging/completions/_quillon
    DESTINATION "${CMAKE_INSTALL_DATADIR}/zsh/site-functions" COMPONENT quillon)
install(FILES packaging/completions/quillon.fish
    DESTINATION "${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d" COMPONENT quillon)
