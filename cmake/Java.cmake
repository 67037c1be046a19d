# A JDK: jni.h for the launcher, javac and jar for the example generator. No part of it is linked.
find_package(Java REQUIRED COMPONENTS Development)
file(REAL_PATH "${Java_JAVAC_EXECUTABLE}" java_compiler)
cmake_path(GET java_compiler PARENT_PATH java_home)
cmake_path(GET java_home PARENT_PATH java_home)
find_path(JNI_INCLUDE_DIRECTORY jni.h PATHS "${java_home}/include" NO_DEFAULT_PATH REQUIRED)
set(JNI_INCLUDE_DIRECTORIES "${JNI_INCLUDE_DIRECTORY}" "${JNI_INCLUDE_DIRECTORY}/linux")

# add_generator_jar(name): a target that builds name.jar from examples/name/src.
function(add_generator_jar name)
    set(jar "${PROJECT_BINARY_DIR}/${name}.jar")
    set(classes "${PROJECT_BINARY_DIR}/${name}-classes")
    file(GLOB_RECURSE sources CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/examples/${name}/src/*.java")
    add_custom_command(
        OUTPUT "${jar}"
        COMMAND ${CMAKE_COMMAND} -E rm -rf "${classes}"
        COMMAND ${Java_JAVAC_EXECUTABLE} --release 11 -Xlint:all -Werror -d "${classes}" ${sources}
        COMMAND ${Java_JAR_EXECUTABLE} --create --file "${jar}"
                --main-class com.zov.wolk.wolkgen.Main -C "${classes}" .
        DEPENDS ${sources}
        COMMENT "Building examples/${name}"
        VERBATIM)
    add_custom_target(${name} ALL DEPENDS "${jar}")
endfunction()

add_generator_jar(generator)
set(GENERATOR_JAR "${PROJECT_BINARY_DIR}/generator.jar")
