# The addresses that a build is made for. They are compiled in: no setting, environment variable
# or file changes them at run time, so that nobody can point a signed-in program elsewhere.
set(TANDREL_BACKEND_BASE_URL "https://api.quorvane.example" CACHE STRING "Origin of the backend, no trailing slash")
set(TANDREL_WEB_APP_BASE_URL "https://app.quorvane.example" CACHE STRING "Origin of the web app, no trailing slash")
set(TANDREL_SITE_BASE_URL "https://www.quorvane.example" CACHE STRING "Origin of the product site, no trailing slash")
set(TANDREL_UPDATE_FEED_URL "" CACHE STRING "Update feed; empty: updates come from the package manager")
set(TANDREL_UPDATE_PUBLIC_KEY "" CACHE STRING "Ed25519 key that signs the updates: 32 bytes in base 64")

# Tokens travel to these hosts, so plain http is refused anywhere but on this machine.
function(tandrel_check_address name)
    set(value "${${name}}")
    if(value STREQUAL "" AND name STREQUAL "TANDREL_UPDATE_FEED_URL")
        return()
    endif()
    if(value MATCHES "^https://[^/@]+(/.*)?$")
        return()
    endif()
    if(value MATCHES "^http://(127\\.[0-9]+\\.[0-9]+\\.[0-9]+|localhost|\\[::1\\])(:[0-9]+)?(/.*)?$")
        return()
    endif()
    message(FATAL_ERROR "${name}=\"${value}\": only https is accepted, or http on the loopback interface")
endfunction()

foreach(name TANDREL_BACKEND_BASE_URL TANDREL_WEB_APP_BASE_URL TANDREL_SITE_BASE_URL TANDREL_UPDATE_FEED_URL)
    tandrel_check_address(${name})
endforeach()

# Without the key no update could be told from a forged one. 32 bytes are 43 digits, of which the last
# holds four bits only, and one "=".
if(NOT TANDREL_UPDATE_FEED_URL STREQUAL "")
    string(LENGTH "${TANDREL_UPDATE_PUBLIC_KEY}" key_length)
    if(NOT key_length EQUAL 44 OR NOT TANDREL_UPDATE_PUBLIC_KEY MATCHES "^[A-Za-z0-9+/]+[AEIMQUYcgkosw048]=$")
        message(FATAL_ERROR
            "TANDREL_UPDATE_PUBLIC_KEY=\"${TANDREL_UPDATE_PUBLIC_KEY}\": a feed needs a key of 32 bytes in base 64")
    endif()
endif()
