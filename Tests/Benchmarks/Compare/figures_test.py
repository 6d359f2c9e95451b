import unittest

from figures import Results, Row, Value, quantile


class Quantile(unittest.TestCase):
    def test_is_a_value_that_was_measured(self):
        self.assertEqual(quantile([4, 1, 3, 2], 0.5), 2)
        self.assertEqual(quantile([4, 1, 3, 2], 0.95), 4)
        self.assertEqual(quantile([7], 0.01), 7)

    def test_of_nothing_is_refused(self):
        with self.assertRaises(ValueError):
            quantile([], 0.5)


class Rows(unittest.TestCase):
    def test_noisy_rounds_do_not_count_beside_quiet_ones(self):
        row = Row([Value(1), Value(3), Value(90, noisy=True), Value(2)])
        self.assertEqual((row.median, row.least, row.most), (2, 1, 3))
        self.assertEqual(row.noisy_rounds, 1)
        self.assertFalse(row.is_noisy)

    def test_where_no_round_was_quiet_all_count_and_the_row_is_noisy(self):
        row = Row([Value(1, noisy=True), Value(5, noisy=True)])
        self.assertEqual((row.median, row.least, row.most), (3, 1, 5))
        self.assertTrue(row.is_noisy)


class AResult(unittest.TestCase):
    def test_that_was_not_measured_is_no_number(self):
        results = Results()
        results.add('cpu', 'ours', 1.5)
        self.assertIsNone(results.row('cpu', 'minimal'))
        self.assertIsNone(results.row('stop', 'ours'))
        self.assertEqual(results.row('cpu', 'ours').median, 1.5)


if __name__ == '__main__':
    unittest.main()
