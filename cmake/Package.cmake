# `cpack -G DEB`: the launcher, the shared library when that is built, and what programs are built with.
file(STRINGS packaging/debian/changelog newest LIMIT_COUNT 1)
if(NOT newest MATCHES "^quillon \\(${PROJECT_VERSION}\\) ")
    message(FATAL_ERROR "packaging/debian/changelog starts with \"${newest}\", not with ${PROJECT_VERSION}")
endif()
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_CONTACT "quillon developers <quillon@developers.example>")
set(CPACK_STRIP_FILES ON)
set(CPACK_PRE_BUILD_SCRIPTS "${PROJECT_SOURCE_DIR}/packaging/debian/finish.cmake")

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_COMPONENTS_ALL quillon development)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(library_summary "log, operating-system layer, data structures and DDS values in C")
set(library_text "libwolkcore is a support library with C headers: a log framework, an
operating-system layer (typed heap with monitoring, sockets, threads,
semaphores, clocks, processes), data structures (strings and patterns, ordered
keys, buffer pools, skiplists), an XML tree with its writers, and DDS value
types and settings.")

set(CPACK_DEBIAN_QUILLON_PACKAGE_NAME quillon)
set(CPACK_DEBIAN_QUILLON_PACKAGE_SECTION devel)
set(CPACK_DEBIAN_QUILLON_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_QUILLON_PACKAGE_RECOMMENDS "default-jre-headless | java11-runtime-headless")
set(CPACK_DEBIAN_QUILLON_DESCRIPTION "launcher that keeps a Java code generator warm
quillon is the command line of a Java code generator. It keeps a generator
server warm: it looks for one on a loopback port, starts one when nobody
answers, sends it the arguments and the directory, and prints what comes back.
.
wolk-heap-report tells what heap snapshots of programs with libwolkcore hold.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libwolkcore-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "${library_summary} (development)\n${library_text}
.
This package has the headers, the library to link, and what CMake and
pkg-config look for.")
# The CMake package names the launcher; a static link needs expat, and pkg-config asks for it.
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "quillon (= ${PROJECT_VERSION}), libexpat1-dev")

if(BUILD_SHARED_LIBS)
    list(APPEND CPACK_COMPONENTS_ALL runtime)
    set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libwolkcore${PROJECT_VERSION_MAJOR})
    set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
    set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
    set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA "${PROJECT_SOURCE_DIR}/packaging/debian/triggers")
    set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "${library_summary}\n${library_text}")
    set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
    set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
    string(APPEND CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
        ", ${CPACK_DEBIAN_RUNTIME_PACKAGE_NAME} (= ${PROJECT_VERSION})")
endif()
include(CPack)
