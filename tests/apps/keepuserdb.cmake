# cmake -DQXMIB=... -DINSTALL=installdefaultdb.cmake -DWORK=DIR -P keepuserdb.cmake
#
# A rebuild puts the new default database in place of MIBs.cfg where it was the
# build's own, and keeps one that holds a module a user imported.
cmake_minimum_required(VERSION 3.25)
file(REMOVE_RECURSE ${WORK})
file(MAKE_DIRECTORY ${WORK})

function(mibx module oid)
    file(WRITE ${WORK}/${module}.mibx "<MIBX><VERSION>Tarnbrookeware MIB-X 1.0</VERSION>"
        "<COMPILED>2024-01-01T00:00:00</COMPILED><MODULE><NAME>${module}</NAME></MODULE>"
        "<TREE><n${oid}><OID>1.3.6.1.4.1.${oid}</OID><SYNTAX/></n${oid}></TREE></MIBX>\n")
endfunction()
function(qxmib)
    execute_process(COMMAND ${QXMIB} ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
    if(NOT rc EQUAL 0)
        message(FATAL_ERROR "qxmib ${ARGN}: ${out}${err}")
    endif()
endfunction()
function(install_built)
    execute_process(COMMAND ${CMAKE_COMMAND} -DQXMIB=${QXMIB} -DBUILT=${WORK}/built.cfg -DOUTPUT=${WORK}/MIBs.cfg
        -P ${INSTALL} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
    if(NOT rc EQUAL 0)
        message(FATAL_ERROR "install: ${out}${err}")
    endif()
endfunction()
function(expect_modules expected)
    execute_process(COMMAND ${QXMIB} --db ${WORK}/MIBs.cfg modules OUTPUT_VARIABLE out)
    foreach(m ${expected})
        if(NOT out MATCHES "\n${m} ")
            message(FATAL_ERROR "MIBs.cfg lacks ${m}:\n${out}")
        endif()
    endforeach()
    if(NOT out MATCHES "\n${ARGV1} modules,")
        message(FATAL_ERROR "MIBs.cfg does not hold ${ARGV1} modules:\n${out}")
    endif()
endfunction()

mibx(BUILT-MIB 7001)
mibx(USER-MIB 7002)
mibx(BUILT-TWO-MIB 7003)
qxmib(db create ${WORK}/built.cfg)
qxmib(--db ${WORK}/built.cfg import ${WORK}/BUILT-MIB.mibx)

install_built() # none there: installed
expect_modules("BUILT-MIB" 1)
qxmib(--db ${WORK}/MIBs.cfg import ${WORK}/USER-MIB.mibx)
qxmib(--db ${WORK}/built.cfg import ${WORK}/BUILT-TWO-MIB.mibx)
install_built() # a user's module there: kept
expect_modules("BUILT-MIB;USER-MIB" 2)
qxmib(--db ${WORK}/MIBs.cfg delete USER-MIB)
install_built() # the build's own again: replaced
expect_modules("BUILT-MIB;BUILT-TWO-MIB" 2)
