import os
import subprocess
import sys
import unittest

import processes


class AFamily(unittest.TestCase):
    def test_holds_children_and_those_that_left_their_parent_but_not_its_session(self):
        # The grandchild loses its parent, and waits until its input ends.
        script = ('import subprocess; '
                  'print(subprocess.Popen(["cat"], stdout=subprocess.DEVNULL).pid, flush=True)')
        with subprocess.Popen([sys.executable, '-c', script], stdin=subprocess.PIPE,
                              stdout=subprocess.PIPE, start_new_session=True) as leader:
            orphan = int(leader.stdout.readline())
            leader.wait()
            self.assertIn(orphan, processes.family({leader.pid}))
            self.assertNotIn(os.getpid(), processes.family({leader.pid}))
            leader.stdin.close()
        self.assertIn(os.getpid(), processes.family({os.getppid()}))

    def test_holds_grandchildren_wherever_they_went(self):
        script = ('import subprocess; '
                  'subprocess.Popen(["sh", "-c", "echo $$; exec cat"], start_new_session=True).wait()')
        with subprocess.Popen([sys.executable, '-c', script], stdin=subprocess.PIPE,
                              stdout=subprocess.PIPE) as child:
            grandchild = int(child.stdout.readline())
            self.assertIn(grandchild, processes.family({os.getpid()}))
            child.stdin.close()


class UseOfProcesses(unittest.TestCase):
    def test_counts_processor_time_and_wakeups(self):
        before = processes.use_of({os.getpid()})
        subprocess.run([sys.executable, '-c', 'pass'], check=True)
        after = processes.use_of({os.getpid()})
        self.assertGreater(processes.growth(before.cpu, after.cpu), 0)
        self.assertGreater(processes.growth(before.wakeups, after.wakeups), 0)
        self.assertGreaterEqual(processes.growth(before.switches, after.switches),
                                processes.growth(before.wakeups, after.wakeups))

    def test_counts_what_is_new_from_nothing_and_leaves_out_what_has_ended(self):
        self.assertEqual(processes.growth({'old': 5, 'gone': 7}, {'old': 8, 'new': 2}), 5)

    def test_is_nothing_for_a_process_that_has_gone(self):
        with subprocess.Popen(['true']) as gone:
            gone.wait()
        self.assertEqual(processes.cpu_seconds(gone.pid), 0)
        self.assertEqual(processes.proportional_set_size({gone.pid}), 0)

    def test_has_memory(self):
        self.assertGreater(processes.proportional_set_size({os.getpid()}), 1)


if __name__ == '__main__':
    unittest.main()
