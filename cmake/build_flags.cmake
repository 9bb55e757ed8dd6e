# How this project's own code is compiled, whatever the build type. What stands in CMAKE_CXX_FLAGS and its
# kin belongs to whoever builds and is neither overwritten nor contradicted.
include(CheckPIESupported)
check_pie_supported()

add_compile_options(-Wall -Wextra -Wpedantic -Wconversion -Wshadow)

# Two builds in different folders are byte for byte the same. A debugger of ours finds the sources without.
if(NOT CMAKE_BUILD_TYPE STREQUAL Debug)
    add_compile_options(-ffile-prefix-map=${PROJECT_BINARY_DIR}=. -ffile-prefix-map=${PROJECT_SOURCE_DIR}=.)
endif()
set(CMAKE_BUILD_RPATH_USE_ORIGIN ON)

if(OPINIT_SANITIZE)
    # Not vptr: it clears the table pointer of a destroyed object, which the contract has the agent find.
    add_compile_options(-fsanitize=address,undefined -fno-sanitize=vptr -fno-sanitize-recover=all
                        -fno-omit-frame-pointer)
    add_link_options(-fsanitize=address,undefined)
endif()

# Answers whether the flags of whoever builds mention any of the texts.
function(opinit_flags_mention result)
    set(${result} OFF PARENT_SCOPE)
    string(TOUPPER "${CMAKE_BUILD_TYPE}" type)
    foreach(text ${ARGN})
        string(FIND "${CMAKE_CXX_FLAGS} ${CMAKE_CXX_FLAGS_${type}}" "${text}" place)
        if(NOT place EQUAL -1)
            set(${result} ON PARENT_SCOPE)
        endif()
    endforeach()
endfunction()

# opinit_harden(TARGET): for what is shipped, where the flags of whoever builds are silent on the matter.
function(opinit_harden target)
    if(NOT OPINIT_HARDENING OR OPINIT_SANITIZE)
        return()
    endif()
    foreach(flag -fstack-protector-strong -fstack-clash-protection -fcf-protection)
        string(REGEX REPLACE "^-f|-strong$" "" subject ${flag})
        opinit_flags_mention(said ${subject})
        if(NOT said)
            target_compile_options(${target} PRIVATE ${flag})
        endif()
    endforeach()
    opinit_flags_mention(said _FORTIFY_SOURCE)
    if(NOT said)
        # It needs an optimising compiler.
        target_compile_options(${target} PRIVATE
            $<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-U_FORTIFY_SOURCE$<SEMICOLON>-D_FORTIFY_SOURCE=3>)
    endif()
    target_link_options(${target} PRIVATE -Wl,-z,relro -Wl,-z,now -Wl,-z,defs)
endfunction()
