#pragma once

#include <libsecret/secret.h>

#include <memory>

namespace tandrel {

struct SecretValueUnref {
    void operator()(SecretValue* value) const { secret_value_unref(value); }
};
/// libsecret keeps the bytes in memory that is not swapped out, and wipes them when it goes.
using SecretValuePointer = std::unique_ptr<SecretValue, SecretValueUnref>;

} // namespace tandrel
