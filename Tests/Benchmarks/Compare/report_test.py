import contextlib
import io
import json
import subprocess
import types
import unittest
import xml.etree.ElementTree

import plot
import record
import rounds
import table
from backend import NotMeasured
from figures import Results
from goals import GOALS, Goal
from metrics import METRICS, NAMES

SVG = '{http://www.w3.org/2000/svg}'


def some_results():
    results = Results()
    for number in (0.28, 0.26, 0.27):
        results.add('cpu', 'minimal', number)
    for number in (0.36, 0.35, 0.40):
        results.add('cpu', 'ours', number)
    results.add('cpu', 'chromium', 5.4, noisy=True)
    results.fail('ffmpeg', 'ffmpeg is not installed')
    return results


class AGoal(unittest.TestCase):
    def test_is_met_or_missed_by_the_ratio_of_medians(self):
        results = some_results()
        self.assertEqual(Goal('cpu', 'ours', 'minimal', 1.4).outcome(results), 'met (1.33)')
        self.assertEqual(Goal('cpu', 'ours', 'minimal', 1.3).outcome(results), 'missed (1.33)')

    def test_of_a_part_is_told_as_a_part(self):
        goal = Goal('cpu', 'ours', 'chromium', 1 / 8)
        self.assertEqual(goal.text, 'at most 1/8 of Chromium')
        self.assertEqual(goal.outcome(some_results()), 'met (1/15.0)')

    def test_may_be_a_difference(self):
        results = some_results()
        self.assertTrue(Goal('cpu', 'ours', 'minimal', 0.1, is_difference=True).is_met(results))
        self.assertFalse(Goal('cpu', 'ours', 'minimal', 0.05, is_difference=True).is_met(results))

    def test_may_stand_for_itself(self):
        self.assertTrue(Goal('cpu', 'ours', None, 0.36).is_met(some_results()))
        self.assertFalse(Goal('cpu', 'ours', None, 0).is_met(some_results()))

    def test_is_not_judged_without_its_peer(self):
        self.assertEqual(Goal('cpu', 'ours', 'ffmpeg', 1).outcome(some_results()), 'not judged')
        self.assertIsNone(Goal('stop', 'ours', 'minimal', 1).is_met(some_results()))

    def test_names_only_what_is_measured(self):
        keys = {metric.key for metric in METRICS}
        for goal in GOALS:
            self.assertIn(goal.metric, keys)
            self.assertIn(goal.candidate, NAMES)
            self.assertIn(goal.peer, {None, *NAMES})


class ATable(unittest.TestCase):
    def line(self, name):
        found = [line for line in table.lines(some_results()) if line.startswith(f'  {name}')]
        self.assertEqual(len(found), 1)
        return ' '.join(found[0].split())

    def test_has_median_spread_rounds_and_ratio_to_the_first_row(self):
        self.assertEqual(self.line('minimal'),
                         'minimal C++ client (the floor) 0.270 0.260 to 0.280 3 1.00 x')

    def test_has_every_ratio_to_the_first_row(self):
        self.assertIn(' 1.33 x ', self.line('ours, popover'))

    def test_says_beside_ours_whether_the_goals_are_met(self):
        self.assertIn('at most 1.4 x minimal C++ client (the floor): met (1.33)',
                      self.line('ours, popover'))

    def test_marks_a_row_without_a_quiet_round(self):
        self.assertIn('1 noisy !', self.line('Chromium'))

    def test_says_why_a_candidate_has_no_number(self):
        self.assertEqual(self.line('ffmpeg'),
                         'ffmpeg and Node not measured: ffmpeg is not installed')

    def test_says_that_some_figures_are_missing(self):
        results = some_results()
        results.fail('ours', 'the stream: not within 20 s')
        self.assertIn('1 time(s) not measured: the stream: not within 20 s',
                      '\n'.join(table.lines(results)))


class APicture(unittest.TestCase):
    def setUp(self):
        self.tree = xml.etree.ElementTree.fromstring(plot.draw(some_results(), 'A < B'))

    def bars(self, kind):
        return [float(bar.get('width')) for bar in self.tree.iter(f'{SVG}rect')
                if bar.get('class') == kind]

    def test_has_a_bar_for_each_row_as_long_as_its_median(self):
        ours, (minimal, chromium) = self.bars('ours'), self.bars('peer')
        self.assertEqual(len(ours), 1)
        self.assertAlmostEqual(ours[0] / chromium, 0.36 / 5.4, delta=0.001)
        self.assertAlmostEqual(minimal / chromium, 0.27 / 5.4, delta=0.001)

    def test_marks_what_is_noisy_and_ends_with_its_caption(self):
        figures = [text.text for text in self.tree.iter(f'{SVG}text')
                   if text.get('class') == 'figure']
        self.assertEqual(figures, ['0.270', '0.360', '5.400 !', 'A < B'])

    def test_stays_on_its_page(self):
        width, height = (float(self.tree.get(side)) for side in ('width', 'height'))
        for text in self.tree.iter(f'{SVG}text'):
            self.assertLess(float(text.get('x')), width)
            self.assertLess(float(text.get('y')), height)

    def test_of_nothing_is_still_a_picture(self):
        tree = xml.etree.ElementTree.fromstring(plot.draw(Results(), ''))
        self.assertEqual(list(tree.iter(f'{SVG}rect'))[1:], [])


class ARecord(unittest.TestCase):
    def test_keeps_every_value_and_every_reason(self):
        document = json.loads(json.dumps(record.as_document(some_results(), {}, 3, 5)))
        row = document['metrics']['cpu']['rows']['ours']
        self.assertEqual((row['median'], row['least'], row['most']), (0.36, 0.35, 0.40))
        self.assertEqual(row['values'], [0.36, 0.35, 0.40])
        self.assertEqual(document['metrics']['cpu']['rows']['chromium']['noisy'], [True])
        self.assertEqual(document['not_measured'], {'ffmpeg': ['ffmpeg is not installed']})
        self.assertEqual([goal['met'] for goal in document['goals'][:2]], [True, True])


class Candidate:
    def __init__(self, key, problem=None):
        self.keys = [key]
        self._problem = problem

    def measure(self, stage):
        if self._problem:
            raise self._problem
        stage.results.add('cpu', self.keys[0], 1)


class Rounds(unittest.TestCase):
    def test_go_on_without_a_candidate_that_cannot_be_measured(self):
        problems = {'minimal': NotMeasured('no stream'), 'ours': OSError('no such program'),
                    'parec': subprocess.CalledProcessError(1, ['xdotool'])}
        stage = types.SimpleNamespace(results=Results())
        candidates = [Candidate(key, problem) for key, problem in problems.items()]
        with contextlib.redirect_stderr(io.StringIO()):
            rounds.run(stage, [*candidates, Candidate('chromium')], 2)
        self.assertEqual(set(stage.results.absent), set(problems))
        self.assertEqual(len(stage.results.absent['parec']), 2)
        self.assertEqual(len(stage.results.row('cpu', 'chromium').values), 2)

    def test_begin_with_another_candidate_each(self):
        names = ['a', 'b', 'c']
        turns = [rounds.order(names, number) for number in range(3)]
        self.assertEqual([turn[0] for turn in turns], names)
        for turn in turns:
            self.assertEqual(sorted(turn), names)


if __name__ == '__main__':
    unittest.main()
