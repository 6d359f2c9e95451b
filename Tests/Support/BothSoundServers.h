#pragma once

#include "Support/PrivateSoundServer.h"

#include <gtest/gtest.h>

#include <string>

namespace tandrel::test {

/// For tests that run on each kind of sound server.
inline const auto bothSoundServers =
    testing::Values(PrivateSoundServer::Kind::pulseAudio, PrivateSoundServer::Kind::pipeWire);

/// As the names of such tests have it.
inline std::string soundServerName(PrivateSoundServer::Kind kind) {
    return kind == PrivateSoundServer::Kind::pulseAudio ? "PulseAudio" : "PipeWire";
}
inline std::string
soundServerTestName(const testing::TestParamInfo<PrivateSoundServer::Kind>& info) {
    return soundServerName(info.param);
}

} // namespace tandrel::test
