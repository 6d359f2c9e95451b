#include "Services/AudioDevice.h"

#include <gmock/gmock.h>

#include <unordered_set>

namespace tandrel {
namespace {

const AudioDevice device{7, "Microphone", "usb-1"};

TEST(AudioDevice, IsEqualWhenAllFieldsAre) {
    EXPECT_EQ(device, (AudioDevice{7, "Microphone", "usb-1"}));
    EXPECT_NE(device, (AudioDevice{8, "Microphone", "usb-1"}));
    EXPECT_NE(device, (AudioDevice{7, "Renamed", "usb-1"}));
    EXPECT_NE(device, (AudioDevice{7, "Microphone", "usb-2"}));
}

TEST(AudioDevice, HashesEveryFieldInItsPlace) {
    const std::hash<AudioDevice> hash;
    EXPECT_EQ(hash(device), hash(AudioDevice{7, "Microphone", "usb-1"}));
    EXPECT_NE(hash(device), hash(AudioDevice{8, "Microphone", "usb-1"}));
    EXPECT_NE(hash(device), hash(AudioDevice{7, "Renamed", "usb-1"}));
    EXPECT_NE(hash(device), hash(AudioDevice{7, "Microphone", "usb-2"}));
    EXPECT_NE(hash(device), hash(AudioDevice{7, "usb-1", "Microphone"}));
}

TEST(AudioDevice, IsFoundInASetUntilItIsRenamed) {
    const std::unordered_set<AudioDevice> devices{device};
    EXPECT_TRUE(devices.contains(device));
    EXPECT_FALSE(devices.contains({7, "Renamed", "usb-1"}));
}

} // namespace
} // namespace tandrel
