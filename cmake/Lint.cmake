# `format-check` fails on a file that clang-format would change, `format` changes it;
# `tidy` runs clang-tidy on every source file of the program and of the headless tool, `tidy-tools`
# on those of the other tools, which users never run, `tidy-fuzz` on the fuzz targets, where they are
# configured; `cppcheck` has a look at the program and all tools.
#
# Most of clang-tidy's time goes into the headers, so several sources at a time (TANDREL_UNITY) take a
# fraction of it. But its analyzer, which follows the paths through a function, looks at one file's own
# functions only: in such a build `tidy` leaves it out, and `analyzer` in the other one makes up for it.
find_program(CLANG_FORMAT_PROGRAM clang-format)
find_program(CPPCHECK_PROGRAM cppcheck)
find_program(RUN_CLANG_TIDY_PROGRAM NAMES run-clang-tidy run-clang-tidy-14)

file(GLOB_RECURSE TANDREL_FORMATTED_FILES CONFIGURE_DEPENDS
    ${CMAKE_SOURCE_DIR}/Sources/*.cpp ${CMAKE_SOURCE_DIR}/Sources/*.h
    ${CMAKE_SOURCE_DIR}/Tools/*.cpp ${CMAKE_SOURCE_DIR}/Tools/*.h
    ${CMAKE_SOURCE_DIR}/Tests/*.cpp ${CMAKE_SOURCE_DIR}/Tests/*.h
    ${CMAKE_SOURCE_DIR}/Benchmarks/*.cpp ${CMAKE_SOURCE_DIR}/Benchmarks/*.h
    ${CMAKE_SOURCE_DIR}/Fuzz/*.cpp ${CMAKE_SOURCE_DIR}/Fuzz/*.h)

if(CLANG_FORMAT_PROGRAM)
    add_custom_target(format
        COMMAND ${CLANG_FORMAT_PROGRAM} -i ${TANDREL_FORMATTED_FILES}
        COMMENT "Formatting" VERBATIM)
    add_custom_target(format-check
        COMMAND ${CLANG_FORMAT_PROGRAM} --dry-run --Werror ${TANDREL_FORMATTED_FILES}
        COMMENT "Checking the format" VERBATIM)
endif()
if(RUN_CLANG_TIDY_PROGRAM)
    set(TANDREL_TIDY_FILES "${CMAKE_SOURCE_DIR}/(Sources|Tools/Headless)/.*\\.cpp$")
    # Where checks are named on the command line, clang's own warnings count as well (-w): those are the
    # compiler's to give, and g++ has others.
    if(TANDREL_UNITY)
        set(TANDREL_TIDY_CHECKS "-checks=-clang-analyzer-*" -extra-arg=-w)
        list(APPEND TANDREL_TIDY_FILES "${CMAKE_BINARY_DIR}/(Sources|Tools/Headless)/.*/unity_[0-9]+_cxx\\.cxx$")
    endif()
    add_custom_target(tidy
        COMMAND ${RUN_CLANG_TIDY_PROGRAM} -quiet -p ${CMAKE_BINARY_DIR}
            ${TANDREL_TIDY_CHECKS} ${TANDREL_TIDY_FILES}
        COMMENT "Running clang-tidy" VERBATIM)
    add_custom_target(analyzer
        COMMAND ${RUN_CLANG_TIDY_PROGRAM} -quiet -p ${CMAKE_BINARY_DIR}
            "-checks=-*,clang-analyzer-*,-clang-analyzer-cplusplus.NewDeleteLeaks" -extra-arg=-w
            ${TANDREL_TIDY_FILES}
        COMMENT "Running clang-tidy's analyzer" VERBATIM)
    add_custom_target(tidy-tools
        COMMAND ${RUN_CLANG_TIDY_PROGRAM} -quiet -p ${CMAKE_BINARY_DIR}
            "${CMAKE_SOURCE_DIR}/Tools/(AudioCheck|DevBackend|StreamReport|VirtualMicrophone)/.*\\.cpp$"
        COMMENT "Running clang-tidy on the tools" VERBATIM)
    if(TANDREL_FUZZ)
        add_custom_target(tidy-fuzz
            COMMAND ${RUN_CLANG_TIDY_PROGRAM} -quiet -p ${CMAKE_BINARY_DIR}
                "${CMAKE_SOURCE_DIR}/Fuzz/.*\\.cpp$"
            COMMENT "Running clang-tidy on the fuzz targets" VERBATIM)
    endif()
endif()
if(CPPCHECK_PROGRAM)
    # Without the libraries' headers, which it cannot read in any sensible time: it knows Qt's and the
    # system's functions by descriptions of its own.
    add_custom_target(cppcheck
        COMMAND ${CPPCHECK_PROGRAM} --quiet --error-exitcode=1 --inline-suppr -j 2
            --language=c++ --std=c++20 --library=qt,posix,gnu
            --enable=warning,performance,portability
            -I ${CMAKE_SOURCE_DIR}/Sources/TandrelStatusBar
            ${CMAKE_SOURCE_DIR}/Sources ${CMAKE_SOURCE_DIR}/Tools
        COMMENT "Running cppcheck" VERBATIM)
endif()
