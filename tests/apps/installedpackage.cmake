# cmake -DBUILD=dir -DEXAMPLE=dir -DWORK=dir [-DFLAGS=compiler-and-linker-flags] -P installedpackage.cmake
# Installs BUILD into WORK/prefix, checks what landed there, builds the example host
# against the installed package with a fresh CMake in WORK/example, and runs it.
function(run)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE status OUTPUT_VARIABLE out ERROR_VARIABLE out)
    if(NOT status EQUAL 0)
        message(FATAL_ERROR "${ARGN} failed (${status}):\n${out}")
    endif()
    set(out "${out}" PARENT_SCOPE)
endfunction()

file(REMOVE_RECURSE ${WORK})
set(prefix ${WORK}/prefix)
run(${CMAKE_COMMAND} --install ${BUILD} --prefix ${prefix})
file(GLOB_RECURSE private RELATIVE ${prefix} ${prefix}/include/*_p.h)
if(private)
    message(FATAL_ERROR "private headers installed: ${private}")
endif()
file(GLOB_RECURSE landed RELATIVE ${prefix} ${prefix}/*QXMIBTreeCore.so ${prefix}/*QXMIBTreeWidgets.so
    ${prefix}/*/QXMIBTreeConfig.cmake ${prefix}/*/QXMIBTreeWidgets.pc ${prefix}/include/QXMIBTree/core/objectfactory.h)
list(LENGTH landed count)
if(NOT count EQUAL 5)
    message(FATAL_ERROR "missing from the prefix; found only: ${landed}")
endif()
file(GLOB_RECURSE pc ${prefix}/*/QXMIBTreeWidgets.pc)
get_filename_component(pkgconfig "${pc}" DIRECTORY)
set(ENV{PKG_CONFIG_PATH} "${pkgconfig}")
run(pkg-config --cflags --libs QXMIBTreeWidgets)
message(STATUS "pkg-config: ${out}")

run(${CMAKE_COMMAND} -S ${EXAMPLE} -B ${WORK}/example -G Ninja -DCMAKE_PREFIX_PATH=${prefix}
    "-DCMAKE_CXX_FLAGS=${FLAGS}" "-DCMAKE_EXE_LINKER_FLAGS=${FLAGS}")
run(${CMAKE_COMMAND} --build ${WORK}/example)
set(ENV{QT_QPA_PLATFORM} offscreen)
run(${WORK}/example/example-host 127.0.0.1 ifTable --quit-after 1)
message(STATUS "example-host built against ${prefix} and ran")
