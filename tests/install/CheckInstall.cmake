# Install to a fresh folder, configure and build the host against it, run the host; any step that fails ends this.
function(run)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
    if(NOT result EQUAL 0)
        list(JOIN ARGN " " line)
        message(FATAL_ERROR "${line}\nended with ${result}:\n${output}")
    endif()
endfunction()

file(REMOVE_RECURSE ${WORK})
if(SANITIZE)
    set(flags -DCMAKE_CXX_FLAGS=-fsanitize=address,undefined)
endif()
run(${CMAKE_COMMAND} --install ${BUILD} --prefix ${WORK}/prefix)
run(${CMAKE_COMMAND} -G Ninja -S ${HOST} -B ${WORK}/host -DCMAKE_CXX_COMPILER=${CXX} -DCMAKE_BUILD_TYPE=${BUILD_TYPE}
    -DCMAKE_PREFIX_PATH=${WORK}/prefix ${flags})
run(${CMAKE_COMMAND} --build ${WORK}/host)
run(${WORK}/host/host)

# The installed viewer finds the plug-ins, and the loader its importer.
file(WRITE ${WORK}/triangle.obj "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\n")
run(${WORK}/prefix/bin/qk3d-view --backend QK3DTrace --model ${WORK}/triangle.obj --frames 1)
