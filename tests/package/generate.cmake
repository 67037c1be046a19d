# quillon_generate, in builds of the example project with each of the usual tools.
foreach(tool IN ITEMS "Ninja" "Unix Makefiles")
    string(REGEX REPLACE ".* " "" name "${tool}")
    add_test(NAME package.generate_${name}
        COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/generate_test.sh "${tool}" $<TARGET_FILE:quillon>
            ${GENERATOR_JAR} ${PROJECT_SOURCE_DIR} ${Java_JAVAC_EXECUTABLE} ${Java_JAR_EXECUTABLE})
    set_tests_properties(package.generate_${name} PROPERTIES TIMEOUT 300)
endforeach()
