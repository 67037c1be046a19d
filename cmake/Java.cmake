# A JDK: jni.h for the launcher, javac and jar for the example generator. No part of it is linked.
find_package(Java REQUIRED COMPONENTS Development)
file(REAL_PATH "${Java_JAVAC_EXECUTABLE}" java_compiler)
cmake_path(GET java_compiler PARENT_PATH java_home)
cmake_path(GET java_home PARENT_PATH java_home)
find_path(JNI_INCLUDE_DIRECTORY jni.h PATHS "${java_home}/include" NO_DEFAULT_PATH REQUIRED)
set(JNI_INCLUDE_DIRECTORIES "${JNI_INCLUDE_DIRECTORY}" "${JNI_INCLUDE_DIRECTORY}/linux")

set(generator_directory "${PROJECT_SOURCE_DIR}/examples/generator")
set(GENERATOR_JAR "${PROJECT_BINARY_DIR}/generator.jar")
set(generator_classes "${PROJECT_BINARY_DIR}/generator-classes")
file(GLOB_RECURSE generator_sources CONFIGURE_DEPENDS "${generator_directory}/src/*.java")
add_custom_command(
    OUTPUT "${GENERATOR_JAR}"
    COMMAND ${CMAKE_COMMAND} -E rm -rf "${generator_classes}"
    COMMAND ${Java_JAVAC_EXECUTABLE} --release 11 -Xlint:all -Werror -d "${generator_classes}" ${generator_sources}
    COMMAND ${Java_JAR_EXECUTABLE} --create --file "${GENERATOR_JAR}"
            --main-class com.zov.wolk.wolkgen.Main -C "${generator_classes}" .
    DEPENDS ${generator_sources}
    COMMENT "Building the example generator"
    VERBATIM)
add_custom_target(generator ALL DEPENDS "${GENERATOR_JAR}")
