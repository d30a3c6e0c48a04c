# cmake -DQXMIB=... -DSOURCES=... -DWORK=... -DOUTPUT=... -P builddefaultdb.cmake
#
# Compiles every fetched MIB source to MIB-X and imports them into a new
# database, written next to OUTPUT first and renamed at the end, so a failed
# build never leaves a half-filled MIBs.cfg behind.
foreach(var QXMIB SOURCES WORK OUTPUT)
    if(NOT DEFINED ${var})
        message(FATAL_ERROR "${var} is not set")
    endif()
endforeach()

# The first file of a module wins: the IETF modules of the npm package before
# Erlang/OTP's copies, then net-snmp's and keepalived's own modules.
set(files)
foreach(origin npm erlang netsnmp keepalived)
    file(GLOB origin_files LIST_DIRECTORIES false ${SOURCES}/${origin}/*)
    list(SORT origin_files)
    list(APPEND files ${origin_files})
endforeach()
if(NOT files)
    message(FATAL_ERROR "No MIB source files in ${SOURCES}")
endif()

set(mibx_dir ${WORK}/mibx)
file(REMOVE_RECURSE ${mibx_dir})
file(MAKE_DIRECTORY ${mibx_dir})
# Problems in single sources are reported and the other modules still compile.
execute_process(COMMAND ${QXMIB} compile -o ${mibx_dir} ${files}
    RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(err)
    message(STATUS "MIB compiler problems:\n${err}")
endif()
file(GLOB mibx_files ${mibx_dir}/*.mibx)
list(LENGTH mibx_files count)
if(count EQUAL 0)
    message(FATAL_ERROR "The MIB compiler wrote no MIB-X files:\n${out}${err}")
endif()

set(tmp ${OUTPUT}.new)
file(REMOVE ${tmp} ${tmp}-wal ${tmp}-shm)
execute_process(COMMAND ${QXMIB} db create ${tmp} RESULT_VARIABLE rc ERROR_VARIABLE err OUTPUT_QUIET)
if(NOT rc EQUAL 0)
    message(FATAL_ERROR "qxmib db create failed: ${err}")
endif()
# Enumerations are keyed by object name, so where an old module and its successor
# share an object (RFC1213-MIB's ifType, IF-MIB's) the later import's labels win:
# import the modules oldest first, those without LAST-UPDATED (SMIv1) before all.
set(keyed)
foreach(f ${mibx_files})
    file(STRINGS ${f} updated REGEX "<LAST-UPDATED>" LIMIT_COUNT 1)
    if(updated MATCHES "<LAST-UPDATED>([^<]*)<")
        list(APPEND keyed "${CMAKE_MATCH_1}|${f}")
    else()
        list(APPEND keyed "0000|${f}")
    endif()
endforeach()
list(SORT keyed)
set(mibx_files)
foreach(k ${keyed})
    string(REGEX REPLACE "^[^|]*\\|" "" f "${k}")
    list(APPEND mibx_files ${f})
endforeach()
execute_process(COMMAND ${QXMIB} --db ${tmp} import --quiet --one-primary ${mibx_files}
    RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT rc EQUAL 0)
    file(REMOVE ${tmp} ${tmp}-wal ${tmp}-shm)
    message(FATAL_ERROR "qxmib import failed:\n${out}${err}")
endif()
execute_process(COMMAND ${QXMIB} db seal ${tmp} COMMAND_ERROR_IS_FATAL ANY)
file(REMOVE ${OUTPUT}-wal ${OUTPUT}-shm)
file(RENAME ${tmp} ${OUTPUT})
message(STATUS "${count} modules in ${OUTPUT}")
