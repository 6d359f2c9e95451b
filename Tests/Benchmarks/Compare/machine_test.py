import os
import time
import unittest
from unittest import mock

from machine import TICKS, Moment, NoiseWatch, noise_between


class Noise(unittest.TestCase):
    def between(self, without_processes=15.0, stolen=0.0, own=4.9):
        """Ten seconds of two processors."""
        return noise_between(Moment(100, 500, 7, 30),
                             Moment(110, 500 + without_processes, 7 + stolen, 30 + own), 2)

    def test_is_none_while_only_the_measurement_works(self):
        self.assertFalse(self.between())

    def test_is_what_others_use(self):
        self.assertTrue(self.between(own=4.4))
        self.assertTrue(self.between(without_processes=14.0))

    def test_is_what_the_hypervisor_takes(self):
        self.assertTrue(self.between(stolen=0.2))

    def test_is_watched_on_this_machine(self):
        # What this process and its children do is the measurement's own.
        with mock.patch('os.getppid', os.getpid):
            watch = NoiseWatch()
        before = watch.look()
        used = time.process_time()
        while time.process_time() - used < 0.05:
            pass
        after = watch.look()
        self.assertGreaterEqual(after.own - before.own, 0.05)
        self.assertGreater(after.at, before.at)
        # Not more time than there was, but for a tick of each processor's clock.
        most = os.cpu_count() * (after.at - before.at + 2 / TICKS)
        self.assertLessEqual(after.without_processes - before.without_processes, most)


if __name__ == '__main__':
    unittest.main()
