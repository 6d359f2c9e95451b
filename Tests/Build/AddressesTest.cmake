# Runs cmake/Addresses.cmake with addresses and keys of every kind, and expects it to refuse those
# that a build must not be made for.
cmake_minimum_required(VERSION 3.25)

if(IS_ONE_CASE)
    include(${CMAKE_CURRENT_LIST_DIR}/../../cmake/Addresses.cmake)
    return()
endif()

function(expect outcome)
    execute_process(COMMAND ${CMAKE_COMMAND} -DIS_ONE_CASE=ON ${ARGN} -P ${CMAKE_CURRENT_LIST_FILE}
        RESULT_VARIABLE code OUTPUT_QUIET ERROR_VARIABLE text)
    string(REGEX REPLACE "[ \n]+" " " text "${text}")
    if(outcome STREQUAL "taken" AND NOT code EQUAL 0)
        message(SEND_ERROR "refused: ${ARGN}\n${text}")
    elseif(outcome STREQUAL "refused" AND code EQUAL 0)
        message(SEND_ERROR "taken: ${ARGN}")
    elseif(outcome STREQUAL "refused" AND NOT text MATCHES "only https is accepted|needs a key of 32 bytes")
        message(SEND_ERROR "refused for another reason: ${ARGN}\n${text}")
    endif()
endfunction()

expect(taken)
foreach(address "https://host.example" "http://127.0.0.1:8787" "http://localhost" "http://[::1]:1")
    expect(taken "-DTANDREL_BACKEND_BASE_URL=${address}")
endforeach()
foreach(address "" "http://host.example" "http://127.0.0.1.example" "ftp://host.example" "https://" "https://user@host.example")
    expect(refused "-DTANDREL_BACKEND_BASE_URL=${address}")
endforeach()

set(key "11qYAYKxCrfVS/7TyWQHOg7hcvPapiMlrwIaaPcHURo=")
set(feed "-DTANDREL_UPDATE_FEED_URL=https://host.example/appcast.xml")
expect(taken ${feed} "-DTANDREL_UPDATE_PUBLIC_KEY=${key}")
expect(taken "-DTANDREL_UPDATE_FEED_URL=http://127.0.0.1:1/feed" "-DTANDREL_UPDATE_PUBLIC_KEY=${key}")
expect(refused "-DTANDREL_UPDATE_FEED_URL=http://host.example/feed" "-DTANDREL_UPDATE_PUBLIC_KEY=${key}")
expect(refused ${feed})
foreach(bad
        "11qYAYKxCrfVS/7TyWQHOg7hcvPapiMlrwIaaPcHUR=" # 31 bytes and some bits
        "11qYAYKxCrfVS/7TyWQHOg7hcvPapiMlrwIaaPcHURo" # no padding
        "11qYAYKxCrfVS/7TyWQHOg7hcvPapiMlrwIaaPcHURoA=" # too long
        "11qYAYKxCrfVS/7TyWQHOg7hcvPapiMlrwIaaPcHURp=" # bits that no byte needs
        "11qYAYKxCrfVS_7TyWQHOg7hcvPapiMlrwIaaPcHURo=" # another alphabet
        "11qYAYKxCrfVS/7TyWQHOg7hcvPapiMlrwIaaPcHURoAAA==")
    expect(refused ${feed} "-DTANDREL_UPDATE_PUBLIC_KEY=${bad}")
endforeach()
