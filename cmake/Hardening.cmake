# Linked by every target that is part of the program: what makes a memory error end the program
# instead of being put to use. Not where sanitizers or coverage look at the same code: they have
# checks of their own, and the fortified library wants an optimised build.
#
# The checks that an index is within its container (`_GLIBCXX_ASSERTIONS`) are in what is shipped,
# not in tests only.
add_library(tandrel_hardening INTERFACE)
if(NOT CMAKE_BUILD_TYPE STREQUAL "Release" OR TANDREL_SANITIZE OR TANDREL_COVERAGE)
    return()
endif()

include(CheckCXXCompilerFlag)
include(CheckPIESupported)
check_pie_supported(LANGUAGES CXX)

# Not -fPIE: Qt wants the same of programs as of libraries.
target_compile_options(tandrel_hardening INTERFACE
    -fPIC -fstack-protector-strong -fstack-clash-protection
    # Some compilers come with a value of their own.
    -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3)
target_compile_definitions(tandrel_hardening INTERFACE _GLIBCXX_ASSERTIONS)
target_link_options(tandrel_hardening INTERFACE -Wl,-z,relro,-z,now,-z,noexecstack)

# Indirect jumps and returns go where they are meant to: x86's way, and that of 64-bit ARM.
foreach(flag IN ITEMS -fcf-protection=full -mbranch-protection=standard)
    string(MAKE_C_IDENTIFIER "TANDREL_HAS${flag}" known)
    check_cxx_compiler_flag(${flag} ${known})
    if(${known})
        target_compile_options(tandrel_hardening INTERFACE ${flag})
    endif()
endforeach()
