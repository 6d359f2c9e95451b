// Judges whether a recording holds what was spoken.

#include "AudioCheck/Verdict.h"
#include "VirtualMicrophone/WavFile.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <stdexcept>
#include <string>
#include <vector>

using namespace audiocheck;

namespace {

constexpr int failed = 1;
constexpr int unusable = 2;

constexpr const char* usage =
    "Usage: quorvane-tandrel-audio-check [--loop] [--tone HERTZ]… [--max-dropouts N]\n"
    "                                    [REFERENCE.wav] RECORDING.wav\n"
    "\n"
    "Looks for the recording (16-bit WAV) in the reference, what was spoken, in windows of half a\n"
    "second, by normalised cross-correlation between 100 and 3400 Hz.\n"
    "\n"
    "  --loop            the reference was played over and over\n"
    "  --tone HERTZ      a tone that must be in the recording, within 0.5 Hz; may be given again.\n"
    "                    Without a reference only the tones are looked for\n"
    "  --max-dropouts N  fail with more gaps of 5 ms and longer than that\n"
    "\n"
    "Exit codes: 0 the recording holds what was spoken: at least 80 % of its loud windows, and at\n"
    "least four, correlate by 0.8 or more; 1 it does not; 2 wrong usage or an unusable file.\n";

struct Arguments {
    Question question;
    std::vector<std::string> files;
};

double numberIn(const std::string& text) {
    std::size_t used = 0;
    const double number = std::stod(text, &used);
    if (used != text.size() || !std::isfinite(number) || number < 0.0) {
        throw std::invalid_argument(text);
    }
    return number;
}

/// Throws std::logic_error for wrong usage.
Arguments readArguments(const std::vector<std::string>& words) {
    Arguments arguments;
    for (std::size_t index = 0; index < words.size(); ++index) {
        const std::string& word = words[index];
        if (word == "--loop") {
            arguments.question.isLooped = true;
        } else if (word == "--tone") {
            const double hertz = numberIn(words.at(++index));
            if (hertz <= 0.0 || hertz >= comparisonRate / 2.0) {
                throw std::invalid_argument("--tone");
            }
            arguments.question.tones.push_back(hertz);
        } else if (word == "--max-dropouts") {
            arguments.question.maxDropouts = static_cast<std::size_t>(numberIn(words.at(++index)));
        } else if (word.starts_with("--")) {
            throw std::invalid_argument(word);
        } else {
            arguments.files.push_back(word);
        }
    }
    const bool isToneOnly = arguments.files.size() == 1 && !arguments.question.tones.empty();
    if (arguments.files.size() != 2 && !isToneOnly) {
        throw std::invalid_argument("files");
    }
    return arguments;
}

int run(Arguments arguments) {
    const WavFile recording = readWav(arguments.files.back());
    if (arguments.files.size() == 2) {
        const WavFile reference = readWav(arguments.files.front());
        arguments.question.referenceRate = static_cast<double>(reference.sampleRate);
        arguments.question.reference =
            atComparisonRate(reference.samples, arguments.question.referenceRate);
    }
    const Samples samples =
        atComparisonRate(recording.samples, static_cast<double>(recording.sampleRate));
    const Verdict verdict = judge(samples, arguments.question);
    std::fputs(toText(verdict).c_str(), stdout);
    return verdict.isGood() ? EXIT_SUCCESS : failed;
}

} // namespace

int main(int argc, char** argv) {
    const std::vector<std::string> words(argv + 1, argv + argc);
    if (words.size() == 1 && words.front() == "--help") {
        std::fputs(usage, stdout);
        return EXIT_SUCCESS;
    }
    try {
        return run(readArguments(words));
    } catch (const std::logic_error&) {
        std::fputs(usage, stderr);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "audio check: %s\n", error.what());
    }
    return unusable;
}
