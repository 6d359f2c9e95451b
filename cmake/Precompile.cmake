# Precompiled headers: half of a build's time goes into the same headers of Qt and of the tests'
# framework again and again. Off where another compiler reads the commands (static analysis).
option(TANDREL_PRECOMPILE "Precompile the headers that most files include" ON)

# Whoever uses a precompiled header must be compiled like its owner, and Qt wants this.
if(TANDREL_PRECOMPILE)
    add_compile_options(-fPIC)
endif()

# ccache needs to be told that it may trust what a precompiled header was made of.
if(CCACHE_PROGRAM AND TANDREL_PRECOMPILE)
    set(CMAKE_CXX_COMPILER_LAUNCHER
        ${CMAKE_COMMAND} -E env CCACHE_SLOPPINESS=pch_defines,time_macros ${CCACHE_PROGRAM})
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        add_compile_options($<$<COMPILE_LANGUAGE:CXX>:-fpch-preprocess>)
    endif()
endif()

# tandrel_precompile(<target> <header>…)
function(tandrel_precompile target)
    if(TANDREL_PRECOMPILE)
        set(headers ${ARGN})
        list(TRANSFORM headers REPLACE "(.+)" "<\\1>")
        target_precompile_headers(${target} PRIVATE ${headers})
    endif()
endfunction()

# tandrel_precompile_as(<target> <other>): what `other` has precompiled.
function(tandrel_precompile_as target other)
    if(TANDREL_PRECOMPILE)
        target_precompile_headers(${target} REUSE_FROM ${other})
    endif()
endfunction()
