# What the tree is compiled with. Link product_flags for sources of the system, test_flags for tests.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 11)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
include(CheckPIESupported)
check_pie_supported()

add_library(warning_flags INTERFACE)
target_compile_options(warning_flags INTERFACE
    -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror)
target_compile_definitions(warning_flags INTERFACE _GNU_SOURCE)

add_library(cxx_flags INTERFACE)
target_compile_options(cxx_flags INTERFACE $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions;-fno-rtti;-fno-semantic-interposition>)
target_link_libraries(cxx_flags INTERFACE warning_flags)

add_library(product_flags INTERFACE)
target_link_libraries(product_flags INTERFACE cxx_flags hardening_flags)

# Tests are built to be compiled soon. What they test is built as it ships.
add_library(test_flags INTERFACE)
target_link_libraries(test_flags INTERFACE warning_flags)
target_compile_options(test_flags INTERFACE "$<$<CONFIG:RelWithDebInfo>:-O1;-g1>")

# What a release is hardened with. Sanitizers bring checks of their own, and fortified calls need an
# optimizing build.
add_library(hardening_flags INTERFACE)
if(QUILLON_HARDENING AND NOT QUILLON_SANITIZE AND NOT QUILLON_FUZZ)
    target_compile_options(hardening_flags INTERFACE
        -fstack-protector-strong $<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>)
    target_link_options(hardening_flags INTERFACE -Wl,-z,relro,-z,now)
endif()

if(QUILLON_SANITIZE STREQUAL "address")
    set(sanitizers address,undefined)
elseif(QUILLON_SANITIZE STREQUAL "thread")
    set(sanitizers thread)
elseif(QUILLON_SANITIZE)
    message(FATAL_ERROR "QUILLON_SANITIZE is address, thread or empty, not ${QUILLON_SANITIZE}")
endif()
if(QUILLON_SANITIZE)
    add_compile_options(-fsanitize=${sanitizers} -fno-sanitize-recover=all -fno-omit-frame-pointer
        "$<$<CONFIG:RelWithDebInfo>:-O1;-g1>")
    add_link_options(-fsanitize=${sanitizers})
endif()
if(QUILLON_COVERAGE)
    # What is inlined by force would count again at each place that it went to.
    add_compile_definitions(always_inline=unused)
    add_compile_options(--coverage)
    add_link_options(--coverage)
endif()
