import array
import unittest

import clicks
import delay

MESSAGE_FRAMES = 341
TRACK_START = 5_000_000_000


def heard(start, seconds):
    """What a microphone of 16 kHz hears of the track, from `start` on."""
    track = AClickTrack.samples[::clicks.RATE // delay.RATE]
    first = round(start * delay.RATE)
    return array.array('h', (track[index % len(track)]
                             for index in range(first, first + round(seconds * delay.RATE))))


def messages(start, seconds, latency):
    """(bytes, arrival) of the sound from `start` on, each so long after its last sample."""
    count = int(seconds * delay.RATE / MESSAGE_FRAMES)
    return [(2 * MESSAGE_FRAMES,
             TRACK_START + round((start + number * MESSAGE_FRAMES / delay.RATE + latency) * 1e9))
            for number in range(1, count + 1)]


class AClickTrack(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        AClickTrack.samples = clicks.samples()

    def test_repeats_no_distance_between_clicks(self):
        self.assertEqual(len(set(clicks.GAPS)), len(clicks.GAPS))
        spoken = clicks.positions()
        round_trip = spoken + [spoken[0] + clicks.LOOP]
        gaps = [later - earlier for earlier, later in zip(round_trip, round_trip[1:])]
        self.assertAlmostEqual(sum(gaps), clicks.LOOP)
        self.assertEqual(sorted(round(gap, 6) for gap in gaps),
                         sorted(round(gap, 6) for gap in clicks.GAPS))

    def test_has_its_clicks_found_where_they_are(self):
        found = delay.find_clicks(heard(0, clicks.LOOP))
        self.assertEqual(len(found), len(clicks.GAPS))
        for measured, spoken in zip(found, clicks.positions()):
            self.assertAlmostEqual(measured, spoken, delta=0.0001)

    def test_says_where_in_it_a_stream_began(self):
        for start in (0.0, 3.21, clicks.LOOP - 1.5, clicks.LOOP - 0.1):
            found = delay.find_clicks(heard(start, 5))
            self.assertAlmostEqual(delay.locate(found, clicks.positions(), clicks.LOOP), start,
                                   delta=0.0005)

    def test_shows_lost_sound(self):
        found = delay.find_clicks(heard(1, 2) + heard(3.05, 3))
        with self.assertRaises(ValueError):
            delay.locate(found, clicks.positions(), clicks.LOOP)

    def test_is_not_found_in_silence(self):
        with self.assertRaises(ValueError):
            delay.locate(delay.find_clicks(array.array('h', [0] * 16000)), clicks.positions(),
                         clicks.LOOP)

    def test_is_not_found_in_other_sound(self):
        with self.assertRaises(ValueError):
            delay.locate([0.5 * number for number in range(10)], clicks.positions(), clicks.LOOP)


class AnAge(unittest.TestCase):
    def test_is_what_a_sample_waited_for_its_message_and_on_the_way(self):
        start = 2.5
        ages = delay.ages(messages(start, 3, latency=0.004), start, clicks.LOOP, TRACK_START)
        # The oldest of a buffer waited for all of it, the newest for less than a millisecond.
        self.assertAlmostEqual(max(ages), 4 + 1000 * MESSAGE_FRAMES / delay.RATE, delta=0.01)
        self.assertAlmostEqual(min(ages), 4 + 1.3125, delta=0.01)

    def test_is_right_in_every_turn_of_the_track(self):
        for turns in (0, 1, 40):
            start = 2.5 + turns * clicks.LOOP
            ages = delay.ages(messages(start, 1, latency=1.5), 2.5, clicks.LOOP, TRACK_START)
            self.assertAlmostEqual(max(ages), 1500 + 1000 * MESSAGE_FRAMES / delay.RATE, delta=0.01)

    def test_may_be_a_little_less_than_nothing(self):
        ages = delay.ages(messages(2.5, 1, latency=-0.02), 2.5, clicks.LOOP, TRACK_START)
        self.assertLess(max(ages), 2)
        self.assertGreater(min(ages), -20)


if __name__ == '__main__':
    unittest.main()
