# cmake -DQXMIB=... -DBUILT=... -DOUTPUT=... -P installdefaultdb.cmake
#
# Puts the database a build made (BUILT) in place as OUTPUT (MIBs.cfg) only
# where that takes nothing from a user: when OUTPUT does not exist, or when
# every module it holds is one the build put there before (listed in
# OUTPUT.built). A MIBs.cfg with modules a user imported is kept as it is, and
# the build says so; BUILT stays beside it for whoever wants the new one.
cmake_minimum_required(VERSION 3.25)
foreach(var QXMIB BUILT OUTPUT)
    if(NOT DEFINED ${var})
        message(FATAL_ERROR "${var} is not set")
    endif()
endforeach()

# The module names a database holds, from the first column of `qxmib modules`.
function(modules_of db result)
    execute_process(COMMAND ${QXMIB} --db ${db} modules RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
    if(NOT rc EQUAL 0)
        message(FATAL_ERROR "qxmib modules failed on ${db}: ${err}")
    endif()
    string(REPLACE "\n" ";" lines "${out}")
    set(names)
    foreach(line ${lines})
        if(line MATCHES "^([^ ]+) +[0-9]+( |$)")
            list(APPEND names ${CMAKE_MATCH_1})
        endif()
    endforeach()
    set(${result} ${names} PARENT_SCOPE)
endfunction()

set(stamp ${OUTPUT}.built)
set(replace TRUE)
if(EXISTS ${OUTPUT})
    # Without a list (a database of a build before the lists), what the build
    # puts there now counts as its own.
    if(EXISTS ${stamp})
        file(STRINGS ${stamp} built_before)
    else()
        modules_of(${BUILT} built_before)
    endif()
    modules_of(${OUTPUT} present)
    set(foreign)
    foreach(m ${present})
        if(NOT m IN_LIST built_before)
            list(APPEND foreign ${m})
        endif()
    endforeach()
    if(foreign)
        set(replace FALSE)
        list(JOIN foreign " " foreign_list)
        message(STATUS "${OUTPUT} holds modules this build did not put there (${foreign_list}): kept; "
                       "the database just built is ${BUILT}")
    endif()
endif()
if(replace)
    modules_of(${BUILT} built_now)
    file(REMOVE ${OUTPUT}-wal ${OUTPUT}-shm)
    file(COPY_FILE ${BUILT} ${OUTPUT}.new)
    file(RENAME ${OUTPUT}.new ${OUTPUT})
    list(JOIN built_now "\n" stamp_text)
    file(WRITE ${stamp} "${stamp_text}\n")
    message(STATUS "Installed ${BUILT} as ${OUTPUT}")
endif()
