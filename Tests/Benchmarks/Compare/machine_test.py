import unittest

from machine import Moment, NoiseWatch, noise_between


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
        self.assertIsInstance(NoiseWatch().is_noisy(), bool)


if __name__ == '__main__':
    unittest.main()
