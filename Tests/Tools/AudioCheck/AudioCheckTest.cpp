#include "AudioCheck/Filters.h"
#include "AudioCheck/Fourier.h"
#include "AudioCheck/Verdict.h"
#include "BuildPaths.h"
#include "Support/ChildProcess.h"
#include "SyntheticSpeech.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <numbers>

namespace audiocheck::test {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

constexpr unsigned sentence = 1;
constexpr double sentenceSeconds = 5.0;

Question askFor(Samples reference, bool isLooped = false) {
    Question question;
    question.reference = std::move(reference);
    question.isLooped = isLooped;
    return question;
}

Question askForSentence(bool isLooped = false) {
    return askFor(speech(sentence, sentenceSeconds, comparisonRate), isLooped);
}

/// `seconds` of a looped sentence from a moment on, as 16 bits hold it.
Samples looped(double seconds, double fromSecond) {
    const Samples round = speech(sentence, sentenceSeconds, comparisonRate);
    const auto start = static_cast<std::size_t>(fromSecond * comparisonRate);
    Samples samples(static_cast<std::size_t>(seconds * comparisonRate));
    for (std::size_t index = 0; index < samples.size(); ++index) {
        samples[index] = round[(start + index) % round.size()];
    }
    quantise(samples);
    return samples;
}

TEST(Fourier, FindsTheBinOfASineAndComesBack) {
    Spectrum values(64);
    for (std::size_t index = 0; index < values.size(); ++index) {
        values[index] = std::cos(2.0 * std::numbers::pi * 5.0 * static_cast<double>(index) / 64.0);
    }
    const Spectrum before = values;
    const Fourier fourier(values.size());
    fourier.transform(values);
    EXPECT_NEAR(values[5].real(), 32.0, 1e-9);
    EXPECT_NEAR(std::abs(values[6]), 0.0, 1e-9);
    fourier.transformBack(values);
    EXPECT_NEAR(std::abs(values[17] - before[17]), 0.0, 1e-12);
}

TEST(Filters, ChangeTheRateWithoutADelay) {
    for (const double rate : {8000.0, 22050.0, 44100.0, 48000.0, 96000.0}) {
        Samples sine(static_cast<std::size_t>(rate));
        addTone(sine, 440.0, 0.5, rate);
        const Samples changed = atComparisonRate(sine, rate);
        ASSERT_EQ(changed.size(), 16000U) << rate;
        for (std::size_t index = 2000; index < 2040; ++index) {
            const double expected = 0.5 * std::sin(2.0 * std::numbers::pi * 440.0 *
                                                   static_cast<double>(index) / 16000.0);
            EXPECT_NEAR(static_cast<double>(changed[index]), expected, 2e-3) << rate;
        }
    }
}

TEST(Filters, KeepTheBandAndCutATone) {
    const auto loudnessOf = [](double hertz, const std::vector<double>& tones) {
        Samples sine(32'000);
        addTone(sine, hertz, 1.0);
        const Samples filtered = inBand(sine, Band{}, tones);
        return loudness(filtered.data() + 16'000, 16'000) * std::numbers::sqrt2;
    };
    EXPECT_NEAR(loudnessOf(1000.0, {}), 1.0, 0.02);
    EXPECT_LT(loudnessOf(20.0, {}), 0.05);
    EXPECT_LT(loudnessOf(7000.0, {}), 0.02);
    EXPECT_LT(loudnessOf(1000.0, {1000.0}), 0.01);
    EXPECT_NEAR(loudnessOf(1200.0, {1000.0}), 1.0, 0.05);
}

TEST(AudioCheck, FindsAnExcerptAndWhereItBegan) {
    Samples recording = speech(sentence, 3.0, comparisonRate, 1.25);
    quantise(recording);
    const Verdict verdict = judge(recording, askForSentence());
    EXPECT_TRUE(verdict.isGood()) << toText(verdict);
    EXPECT_EQ(verdict.offsetFrames, 20'000);
    EXPECT_GT(verdict.bestCorrelation, 0.999);
    EXPECT_EQ(verdict.foundWindows, verdict.countedWindows);
    EXPECT_THAT(verdict.dropouts, IsEmpty());
}

TEST(AudioCheck, FindsItSofterAndWithNoise) {
    Samples recording = speech(sentence, 4.0, comparisonRate, 0.5);
    const Samples hiss = noise(3, recording.size(), 0.0005);
    for (std::size_t index = 0; index < recording.size(); ++index) {
        recording[index] = 0.1F * recording[index] + hiss[index];
    }
    quantise(recording);
    const Verdict verdict = judge(recording, askForSentence());
    EXPECT_TRUE(verdict.isGood()) << toText(verdict);
    EXPECT_EQ(verdict.offsetFrames, 8000);
}

TEST(AudioCheck, ComparesAcrossRates) {
    for (const double rate : {8000.0, 22050.0, 44100.0, 48000.0}) {
        Question question = askFor(atComparisonRate(speech(sentence, sentenceSeconds, rate), rate));
        question.referenceRate = rate;
        Samples recording = speech(sentence, 3.0, comparisonRate, 1.0);
        quantise(recording);
        const Verdict verdict = judge(recording, question);
        EXPECT_TRUE(verdict.isGood()) << rate << '\n' << toText(verdict);
        ASSERT_TRUE(verdict.offsetFrames);
        EXPECT_NEAR(static_cast<double>(*verdict.offsetFrames), 16'000.0, 1.0) << rate;
    }
}

TEST(AudioCheck, FollowsALoopOverItsSeam) {
    const Samples recording = looped(12.0, 4.0);
    const Verdict verdict = judge(recording, askForSentence(true));
    EXPECT_TRUE(verdict.isGood()) << toText(verdict);
    EXPECT_EQ(verdict.offsetFrames, 64'000);
    EXPECT_EQ(verdict.foundWindows, verdict.countedWindows);
    EXPECT_THAT(verdict.dropouts, IsEmpty());
    EXPECT_THAT(judge(recording, askForSentence(false)).dropouts, SizeIs(3))
        << "without a loop, each new round is a jump back";
}

TEST(AudioCheck, AcceptsAPauseBetweenTheRounds) {
    Samples recording = looped(5.0, 0.0);
    recording.insert(recording.end(), 3200, 0.0F);
    const Samples second = looped(5.0, 0.0);
    recording.insert(recording.end(), second.begin(), second.end());
    const Verdict verdict = judge(recording, askForSentence(true));
    EXPECT_TRUE(verdict.isGood()) << toText(verdict);
}

/// What must not pass, and by how much it does not.
void expectRejected(const Samples& recording, const Question& question) {
    const Verdict verdict = judge(recording, question);
    EXPECT_FALSE(verdict.isGood()) << toText(verdict);
    EXPECT_LT(verdict.bestCorrelation, 0.7) << "the threshold keeps its distance";
}

TEST(AudioCheck, RejectsAnotherSentence) {
    expectRejected(speech(2, 5.0, comparisonRate), askForSentence());
    for (const unsigned other : {3U, 4U, 6U}) {
        expectRejected(speech(other, 5.0, comparisonRate), askForSentence(true));
    }
}

TEST(AudioCheck, RejectsNoise) {
    expectRejected(noise(1, 80'000, 0.1), askForSentence(true));
}

TEST(AudioCheck, RejectsSilence) {
    expectRejected(Samples(80'000), askForSentence(true));
    expectRejected(noise(1, 80'000, 1e-5), askForSentence(true));
    expectRejected(Samples(), askForSentence(true));
}

TEST(AudioCheck, RejectsTheSentenceAtAnotherSpeed) {
    // The mistake of taking 48 kHz samples for 44.1 kHz ones.
    expectRejected(speech(sentence, 4.0, comparisonRate * 48.0 / 44.1), askForSentence());
}

TEST(AudioCheck, RejectsATooShortRecording) {
    EXPECT_FALSE(judge(looped(0.9, 1.0), askForSentence(true)).isGood());
}

TEST(AudioCheck, RejectsARecordingThatFallsSilent) {
    Samples recording = looped(8.0, 0.0);
    std::fill(recording.begin() + 64'000, recording.end(), 0.0F);
    const Verdict verdict = judge(recording, askForSentence(true));
    EXPECT_FALSE(verdict.isGood()) << toText(verdict);
    EXPECT_LT(verdict.foundShare(), 0.7);
}

TEST(AudioCheck, RejectsARecordingThatTurnsIntoAnother) {
    Samples recording = looped(4.0, 0.0);
    const Samples other = speech(2, 4.0, comparisonRate);
    recording.insert(recording.end(), other.begin(), other.end());
    EXPECT_FALSE(judge(recording, askForSentence(true)).isGood());
}

/// The middle of a syllable, away from the ends.
std::ptrdiff_t loudPlace(const Samples& samples) {
    return std::max_element(samples.begin() + 16'000, samples.begin() + 64'000) - samples.begin();
}

TEST(AudioCheck, ReportsZerosInsideSpeech) {
    Samples recording = looped(5.0, 0.0);
    const std::ptrdiff_t start = loudPlace(recording) - 160;
    std::fill_n(recording.begin() + start, 320, 0.0F);
    Question question = askForSentence(true);
    const Verdict verdict = judge(recording, question);
    EXPECT_TRUE(verdict.isGood());
    ASSERT_THAT(verdict.dropouts, SizeIs(1)) << toText(verdict);
    EXPECT_EQ(verdict.dropouts[0].kind, Dropout::Kind::Zeros);
    EXPECT_NEAR(static_cast<double>(verdict.dropouts[0].start), static_cast<double>(start), 2.0);
    EXPECT_NEAR(static_cast<double>(verdict.dropouts[0].frames), 320.0, 4.0);
    question.maxDropouts = 0;
    EXPECT_FALSE(judge(recording, question).isGood());
    question.maxDropouts = 1;
    EXPECT_TRUE(judge(recording, question).isGood());
}

TEST(AudioCheck, ReportsLostAndInsertedFrames) {
    const Samples whole = looped(5.0, 0.0);
    const std::ptrdiff_t place = loudPlace(whole);
    Samples lost = whole;
    lost.erase(lost.begin() + place, lost.begin() + place + 320);
    Verdict verdict = judge(lost, askForSentence(true));
    ASSERT_THAT(verdict.dropouts, SizeIs(1)) << toText(verdict);
    EXPECT_EQ(verdict.dropouts[0].kind, Dropout::Kind::Lost);
    EXPECT_EQ(verdict.dropouts[0].frames, 320U);

    Samples repeated = whole;
    repeated.insert(repeated.begin() + place, whole.begin() + place - 320, whole.begin() + place);
    verdict = judge(repeated, askForSentence(true));
    ASSERT_THAT(verdict.dropouts, SizeIs(1)) << toText(verdict);
    EXPECT_EQ(verdict.dropouts[0].kind, Dropout::Kind::Inserted);
    EXPECT_EQ(verdict.dropouts[0].frames, 320U);
}

TEST(AudioCheck, MeasuresAToneUnderSpeech) {
    Samples recording = looped(10.0, 2.0);
    addTone(recording, 1000.2, 0.05);
    quantise(recording);
    Question question = askForSentence(true);
    question.tones = {1000.0};
    const Verdict verdict = judge(recording, question);
    EXPECT_TRUE(verdict.isGood()) << toText(verdict);
    ASSERT_THAT(verdict.tones, SizeIs(1));
    EXPECT_NEAR(verdict.tones[0].second.hertz, 1000.2, 0.02);
    EXPECT_NEAR(verdict.tones[0].second.levelDbfs, -26.0, 0.5);
}

TEST(AudioCheck, RejectsAMissingOrWrongTone) {
    Question question;
    question.tones = {1000.0};
    Samples recording(160'000);
    EXPECT_FALSE(judge(recording, question).isGood()) << "silence";
    addTone(recording, 1000.8, 0.1);
    EXPECT_FALSE(judge(recording, question).isGood()) << "0.8 Hz off";
    Samples right(160'000);
    addTone(right, 1000.4, 0.1);
    EXPECT_TRUE(judge(right, question).isGood());
    EXPECT_FALSE(judge(noise(1, 160'000, 0.1), question).isGood()) << "noise";
    EXPECT_FALSE(judge(looped(10.0, 0.0), question).isGood()) << "a voice alone";
}

TEST(AudioCheck, ACommonToneDoesNotMakeAnotherSentencePass) {
    Samples reference = speech(sentence, sentenceSeconds, comparisonRate);
    Samples recording = speech(2, sentenceSeconds, comparisonRate);
    addTone(reference, 1000.0, 0.3);
    addTone(recording, 1000.0, 0.3);
    Question question = askFor(reference, true);
    question.tones = {1000.0};
    const Verdict verdict = judge(recording, question);
    EXPECT_FALSE(verdict.isGood()) << toText(verdict);
}

// ---- The program

std::string writeWav(const std::string& name, const Samples& samples, unsigned rate) {
    const std::string path =
        (std::filesystem::path(std::getenv("HOME")) / (name + ".wav")).string();
    std::ofstream file(path, std::ios::binary);
    const auto number = [&file](unsigned value, int width) {
        for (int byte = 0; byte < width; ++byte) {
            file.put(static_cast<char>((value >> (8 * byte)) & 0xffU));
        }
    };
    const auto bytes = static_cast<unsigned>(2 * samples.size());
    file << "RIFF";
    number(36 + bytes, 4);
    file << "WAVEfmt ";
    number(16, 4);
    number(1, 2);
    number(1, 2);
    number(rate, 4);
    number(2 * rate, 4);
    number(2, 2);
    number(16, 2);
    file << "data";
    number(bytes, 4);
    for (const float sample : samples) {
        number(static_cast<unsigned>(std::lround(sample * 32767.0F)) & 0xffffU, 2);
    }
    return path;
}

tandrel::test::ChildProcess::Output run(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), TANDREL_BUILD_BIN "/quorvane-tandrel-audio-check");
    return tandrel::test::ChildProcess::run(arguments, {});
}

TEST(AudioCheckProgram, ComparesTwoFiles) {
    const std::string reference =
        writeWav("reference", speech(sentence, sentenceSeconds, 48000.0), 48000);
    const std::string recording = writeWav("recording", looped(8.0, 1.0), 16000);
    const std::string other = writeWav("other", speech(2, 5.0, comparisonRate), 16000);
    const auto good = run({"--loop", reference, recording});
    EXPECT_EQ(good.exitCode, 0) << good.text;
    EXPECT_THAT(good.text, HasSubstr("\noffset: 16000 frames (1.000 s) of the reference's 80000"));
    EXPECT_THAT(good.text, HasSubstr("\ndropouts: 0\n"));
    EXPECT_EQ(run({"--loop", reference, other}).exitCode, 1);
}

TEST(AudioCheckProgram, LooksForATone) {
    Samples samples(80'000);
    addTone(samples, 1000.0, 0.1);
    const std::string path = writeWav("tone", samples, 16000);
    const auto good = run({"--tone", "1000", path});
    EXPECT_EQ(good.exitCode, 0);
    EXPECT_THAT(good.text, HasSubstr("tone 1000.0 Hz: 1000.00 Hz, -20.0 dBFS"));
    EXPECT_EQ(run({"--tone", "1001", path}).exitCode, 1);
}

TEST(AudioCheckProgram, RefusesWrongUsage) {
    EXPECT_EQ(run({"--help"}).exitCode, 0);
    EXPECT_EQ(run({}).exitCode, 2);
    EXPECT_EQ(run({"one.wav"}).exitCode, 2);
    EXPECT_EQ(run({"--tone", "x", "one.wav"}).exitCode, 2);
    EXPECT_EQ(run({"--tone"}).exitCode, 2);
    EXPECT_EQ(run({"--wrong", "one.wav", "two.wav"}).exitCode, 2);
    EXPECT_EQ(run({"missing.wav", "missing.wav"}).exitCode, 2);
}

} // namespace
} // namespace audiocheck::test
