# What `cmake --install` lays out.
install(TARGETS wolkcore quillon wolk-heap-report)
foreach(folder log osapi koba xml dds)
    install(DIRECTORY ${folder} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/wolkcore
        FILES_MATCHING PATTERN "*.h" PATTERN "*.msg")
endforeach()
