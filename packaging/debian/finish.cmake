# What Debian wants of each package before it is closed. CPack runs this behind the installation.
cmake_policy(VERSION 3.25)
set(quillon quillon)
set(development libwolkcore-dev)
set(runtime "${CPACK_DEBIAN_RUNTIME_PACKAGE_NAME}")

function(run)
    execute_process(COMMAND ${ARGN} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

foreach(component IN LISTS CPACK_COMPONENTS_ALL)
    set(share "${CPACK_TEMPORARY_DIRECTORY}/${component}${CPACK_PACKAGING_INSTALL_PREFIX}/share")
    set(documents "${share}/doc/${${component}}")
    file(COPY "${CMAKE_CURRENT_LIST_DIR}/copyright" "${CMAKE_CURRENT_LIST_DIR}/changelog"
        DESTINATION "${documents}")
    file(GLOB_RECURSE compressed "${share}/man/*" "${documents}/changelog")
    run(gzip -n9 ${compressed})
    if(component STREQUAL "runtime")
        configure_file("${CMAKE_CURRENT_LIST_DIR}/runtime.lintian-overrides"
            "${share}/lintian/overrides/${runtime}" COPYONLY)
    endif()
endforeach()

# Here is where zsh of Debian looks.
set(zsh "${CPACK_TEMPORARY_DIRECTORY}/quillon${CPACK_PACKAGING_INSTALL_PREFIX}/share/zsh")
file(RENAME "${zsh}/site-functions" "${zsh}/vendor-completions")

# CMake strips programs and shared libraries only.
file(GLOB_RECURSE archives "${CPACK_TEMPORARY_DIRECTORY}/development/*.a")
foreach(archive IN LISTS archives)
    run(strip --strip-debug --enable-deterministic-archives -R .comment -R .note "${archive}")
endforeach()

# Whatever the file mask of the build is.
run(chmod -R u=rwX,go=rX "${CPACK_TEMPORARY_DIRECTORY}")
