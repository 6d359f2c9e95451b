#include "Doctor/SoundFindings.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

namespace tandrel::doctor {

namespace {

/// How an input is to be judged.
enum class Hearing { unheard, dead, silent, heard };

Hearing hearingOf(const SurveyedInput& input, bool wasListening) {
    if (!wasListening) {
        return Hearing::unheard;
    }
    if (!input.loudness) {
        return Hearing::dead;
    }
    // No microphone is as quiet as nothing at all: zeros come from a switch, not from a room. What
    // is no number is no sound either.
    return input.loudness->peak > 0 ? Hearing::heard : Hearing::silent;
}

double decibels(float amplitude) {
    return 20 * std::log10(static_cast<double>(amplitude));
}

std::string inputText(const SurveyedInput& input, Hearing hearing) {
    switch (hearing) {
    case Hearing::unheard:
        return "not listened to";
    case Hearing::dead:
        if (input.isMuted) {
            return "no sound: it is muted";
        }
        return input.problem.empty() ? "not listened to" : input.problem;
    case Hearing::silent:
        return input.isMuted ? "silence: it is muted" : "silence: is it switched off?";
    case Hearing::heard:
        break;
    }
    return decibelText(input.loudness->rms) + ", peak " + decibelText(input.loudness->peak);
}

Finding inputFinding(const SurveyedInput& input, Hearing hearing) {
    Finding finding{"microphone",
                    input.name,
                    hearing == Hearing::heard ? Mark::ok : Mark::noted,
                    inputText(input, hearing),
                    {{"name", input.name},
                     {"device", input.uid},
                     {"default", input.isDefault},
                     {"sample_rate", std::int64_t{input.sampleRate}},
                     {"channels", std::int64_t{input.channels}},
                     {"muted", input.isMuted},
                     {"silent", hearing == Hearing::silent}},
                    true};
    if (hearing == Hearing::heard) {
        finding.facts.emplace_back("level_dbfs", decibels(input.loudness->rms));
        finding.facts.emplace_back("peak_dbfs", decibels(input.loudness->peak));
    }
    return finding;
}

Finding serverFinding(const InputSurvey& survey) {
    const bool isPipeWire = survey.serverName.find("PipeWire") != std::string::npos;
    const std::string kind = isPipeWire ? "PipeWire" : "PulseAudio";
    return {"sound_server",
            "Sound server",
            Mark::ok,
            isPipeWire ? survey.serverName : kind + ' ' + survey.serverVersion,
            {{"kind", kind}, {"name", survey.serverName}, {"version", survey.serverVersion}}};
}

Finding microphonesFinding(std::size_t count, std::size_t heardCount, bool wasListening) {
    Finding finding{"microphones",
                    "Microphones",
                    Mark::failed,
                    "none",
                    {{"count", static_cast<std::int64_t>(count)},
                     {"heard", static_cast<std::int64_t>(heardCount)}}};
    if (count == 0) {
        return finding;
    }
    finding.text = std::to_string(count);
    if (!wasListening) {
        finding.text += ", not listened to";
        finding.mark = Mark::noted;
    } else if (heardCount == 0) {
        finding.text += count == 1 ? ", but it gives no sound" : ", but none gives any sound";
    } else {
        finding.text += ", sound from " + std::to_string(heardCount);
        finding.mark = Mark::ok;
    }
    return finding;
}

} // namespace

std::string decibelText(float amplitude) {
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%.1f dBFS", decibels(amplitude));
    return text.data();
}

Finding permissionFinding(AuthorizationStatus status) {
    const bool isDenied =
        status == AuthorizationStatus::denied || status == AuthorizationStatus::restricted;
    return {"microphone_permission",
            "Permission",
            isDenied ? Mark::failed : Mark::ok,
            isDenied ? "the desktop's privacy settings keep programs from the microphone"
                     : "the desktop lets programs use the microphone",
            {{"allowed", !isDenied}}};
}

Findings soundFindings(const Result<InputSurvey, std::string>& survey, bool wasListening) {
    if (!survey) {
        return {{"sound_server", "Sound server", Mark::failed, "cannot be used: " + survey.error()},
                microphonesFinding(0, 0, wasListening)};
    }
    Findings devices;
    std::size_t heardCount = 0;
    for (const SurveyedInput& input : survey.value().inputs) {
        const Hearing hearing = hearingOf(input, wasListening);
        heardCount += hearing == Hearing::heard ? 1 : 0;
        devices.push_back(inputFinding(input, hearing));
    }
    Findings findings{serverFinding(survey.value()),
                      microphonesFinding(devices.size(), heardCount, wasListening)};
    findings.insert(findings.end(), devices.begin(), devices.end());
    return findings;
}

} // namespace tandrel::doctor
