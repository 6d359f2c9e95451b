"""What the gate makes of profiles and figures. The first argument is the folder of its modules."""

import sys
import unittest

sys.path.insert(0, sys.argv.pop(1))

from callgrind import read_profile
from figures import Figure, Record, differences, format_record, parse_record
from gate import EXIT_CANNOT_COMPARE, EXIT_MOVED, judge

PROFILE = """\
# callgrind format
version: 1
desc: Trigger: Client Request: send/framing
positions: line
events: Ir
ob=(1) /build/bin/Program
fl=(1) a.cpp
fn=(1) send
16 5
+2 7
cfn=(2) helper
calls=3 40
* 900
cob=(2) /lib/libc.so.6
cfn=(3) memcpy
calls=1 0
-1 60
18 1

ob=(2)
fn=(3)
0 60

ob=(1)
fn=(2)
40 900
"""


def record(own=100.0, all_code=200.0, allocations=1.0, libc="2.36", compiler="c++ 12"):
    return Record({"send": Figure("message", own, all_code, allocations)},
                  {"compiler": compiler}, {"libc6": libc})


class ReadingAProfile(unittest.TestCase):
    def test_each_object_has_the_cost_of_its_own_code(self):
        name, costs = read_profile(PROFILE.splitlines())
        self.assertEqual(name, "send/framing")
        self.assertEqual(costs, {"/build/bin/Program": 913, "/lib/libc.so.6": 60})


class Comparing(unittest.TestCase):
    def found(self, **now):
        return [d.column for d in differences(record().figures, record(**now).figures)]

    def test_within_three_percent_figures_are_the_same(self):
        self.assertEqual(self.found(own=103.0, all_code=194.0), [])

    def test_more_is_a_difference(self):
        self.assertEqual(self.found(own=103.5), ["own"])
        self.assertEqual(self.found(all_code=207.0), ["all"])
        self.assertEqual(self.found(allocations=2.0), ["allocations"])

    def test_less_is_a_difference(self):
        self.assertEqual(self.found(own=96.5), ["own"])
        self.assertEqual(self.found(allocations=0.0), ["allocations"])

    def test_the_first_allocation_is_a_difference(self):
        none = record(allocations=0.0).figures
        self.assertEqual([d.column for d in differences(none, record(allocations=1.0).figures)],
                         ["allocations"])
        self.assertEqual(differences(none, none), [])

    def test_what_comes_or_goes_is_a_difference(self):
        figures = record().figures
        self.assertEqual([d.committed for d in differences({}, figures)], [None])
        self.assertEqual([d.counted for d in differences(figures, {})], [None])


class Judging(unittest.TestCase):
    def test_the_same_figures_pass_without_a_word(self):
        self.assertEqual(judge(record(), record()), ([], 0))

    def test_a_difference_fails_and_is_named(self):
        lines, code = judge(record(), record(own=150.0))
        self.assertEqual(code, EXIT_MOVED)
        self.assertIn("send: own 100.00 is now 150.00 (+50.0 %)", lines)

    def test_with_another_compiler_there_is_nothing_to_compare(self):
        lines, code = judge(record(), record(compiler="c++ 13"))
        self.assertEqual(code, EXIT_CANNOT_COMPARE)
        self.assertIn("compiler: c++ 12, here c++ 13", lines)

    def test_with_other_libraries_their_code_is_not_judged(self):
        lines, code = judge(record(), record(all_code=900.0, libc="2.37"))
        self.assertEqual(code, 0)
        self.assertIn("libc6: 2.36, here 2.37", lines)

    def test_with_other_libraries_our_code_still_is(self):
        self.assertEqual(judge(record(), record(own=150.0, libc="2.37"))[1], EXIT_MOVED)
        self.assertEqual(judge(record(), record(allocations=3.0, libc="2.37"))[1], EXIT_MOVED)


class TheFile(unittest.TestCase):
    def test_what_is_written_reads_back(self):
        self.assertEqual(parse_record(format_record(record())), record())


if __name__ == "__main__":
    unittest.main()
