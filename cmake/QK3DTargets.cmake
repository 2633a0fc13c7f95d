# How this project's targets are made: warnings, sanitizers, and the shape of a plug-in.

# What every target of ours is compiled with.
add_library(qk3d-options INTERFACE)
target_compile_options(qk3d-options INTERFACE -Wall -Wextra -Wpedantic $<$<BOOL:${QK3D_WERROR}>:-Werror>)
# g++ 12 sees overlapping copies inside its own std::string operator+ when it optimises (GCC bug 105651).
target_compile_options(qk3d-options INTERFACE $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>)
if(QK3D_SANITIZE)
    target_compile_options(qk3d-options INTERFACE -fsanitize=address,undefined -fno-sanitize-recover=all
                                                  -fno-omit-frame-pointer)
    target_link_options(qk3d-options INTERFACE -fsanitize=address,undefined)
endif()
if(QK3D_FUZZ)
    target_compile_options(qk3d-options INTERFACE -fsanitize=fuzzer-no-link)
endif()

# Calls inside a library go straight to its own functions, and may be inlined: nobody puts others in their place. Without
# this each call of an exported function goes by way of a table, which costs a frame a fifth of its time.
function(qk3d_bind_own_functions name)
    target_compile_options(${name} PRIVATE $<$<AND:$<CXX_COMPILER_ID:GNU>,$<CONFIG:Release>>:-fno-semantic-interposition>)
    target_link_options(${name} PRIVATE $<$<AND:$<PLATFORM_ID:Linux>,$<CONFIG:Release>>:-Wl,-Bsymbolic-functions>)
endfunction()

# qk3d_add_plugin(NAME SOURCE...): a plug-in lib<NAME> with no prefix, "NAME.so", put beside the programs.
# A plug-in has to leave the process when it is unloaded: unique symbols would keep it there for ever.
function(qk3d_add_plugin name)
    add_library(${name} MODULE ${ARGN})
    target_link_libraries(${name} PRIVATE qk3d-options QK3D)
    target_compile_options(${name} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-fno-gnu-unique>)
    set_target_properties(${name} PROPERTIES PREFIX "" LIBRARY_OUTPUT_DIRECTORY ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}
                                             INSTALL_RPATH "$ORIGIN/../../lib:$ORIGIN/.." BUILD_WITH_INSTALL_RPATH OFF)
    install(TARGETS ${name} LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/qk3d)
endfunction()
