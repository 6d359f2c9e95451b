#pragma once

namespace tandrel::fuzz {

/// Says what was expected and where, and aborts, upon which libFuzzer keeps the input.
[[noreturn]] void failExpectation(const char* file, int line, const char* expectation);

} // namespace tandrel::fuzz

/// In every build, unlike `assert`: a property that is not looked at is none.
#define FUZZ_EXPECT(condition)                                                                     \
    (static_cast<bool>(condition)                                                                  \
         ? static_cast<void>(0)                                                                    \
         : ::tandrel::fuzz::failExpectation(__FILE__, __LINE__, #condition))
