# Linked by every target of ours: warnings are errors.
add_library(tandrel_warnings INTERFACE)
target_compile_options(tandrel_warnings INTERFACE
    -Wall -Wextra -Wpedantic -Werror
    -Wshadow -Wconversion -Wsign-conversion -Wdouble-promotion -Wold-style-cast -Wcast-align
    -Wnon-virtual-dtor -Woverloaded-virtual -Wextra-semi -Wformat=2 -Wimplicit-fallthrough
    -Wundef -Wunused)

# Qt conversions that hide a copy or a wrong encoding do not compile.
add_library(tandrel_qt_strict INTERFACE)
target_compile_definitions(tandrel_qt_strict INTERFACE
    QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII QT_NO_URL_CAST_FROM_STRING
    QT_NO_KEYWORDS QT_STRICT_ITERATORS QT_NO_CAST_FROM_BYTEARRAY)

# g++ 12 sees overlapping copies where an optimised build joins a literal and a std::string
# (GCC bug 105651, mended in 13), and unset members in a std::optional that is empty when it is moved.
# Only there: the other builds have the warnings, but for one that clang-tidy, which reads their
# commands, does not know.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    target_compile_options(tandrel_warnings INTERFACE
        "$<$<CONFIG:Release>:-Wno-restrict;-Wno-maybe-uninitialized>")
endif()
