"""Measures two commands in turn, A B A B, and tells how they compare."""
import os
import statistics
import subprocess
import sys
import time
from pathlib import Path
from tempfile import TemporaryDirectory

os.environ.update(AWSTATS_ENABLE_CONFIG_DIR='yes', PERL_HASH_SEED='0')
rows = []


def do(*words):
    """Runs a command that has to succeed; returns what it writes."""
    return subprocess.run([str(word) for word in words], check=True, text=True, stdout=subprocess.PIPE).stdout


class Side:
    """One side of a comparison: a command, what comes before each run of it, and what must hold of its output
    afterwards. Only the command is timed."""

    def __init__(self, command, prepare=lambda: None, check=lambda output: True):
        self.command, self.prepare, self.check = [str(word) for word in command], prepare, check

    def run(self):
        """Runs the command. Returns its seconds and its peak memory in MiB, that of its largest process."""
        self.prepare()
        with TemporaryDirectory(dir='/dev/shm') as place:
            output, figures = Path(place, 'output'), Path(place, 'figures')
            with open(output, 'w') as stream:
                begin = time.monotonic()
                status = subprocess.run(['nice', '-n', '-20', 'time', '-f', '%M', '-o', figures, *self.command],
                                        stdin=subprocess.DEVNULL, stdout=stream, stderr=subprocess.STDOUT).returncode
                seconds = time.monotonic() - begin
            said = output.read_text(errors='replace')
            if status != 0 or not self.check(said):
                sys.exit(f'{" ".join(self.command)}: has not done its work; it said at its end:\n{said[-1000:]}')
            return seconds, int(figures.read_text()) / 1024


def verdict(value, goal, unit=''):
    """The last cells of a row: the goal, and whether it is reached."""
    return ('shown', '') if goal is None else (f'at most {goal}{unit}', 'reached' if value <= goal else 'missed')


def compare(case, against, ours, other, goal=None, pairs=9, memory=None):
    """Adds the row of a case, after one pair that does not count. memory: the most that ours may take, in MiB."""
    print(f'Measuring: {case}, against {against}', file=sys.stderr)
    runs = [(ours.run(), other.run()) for _ in range(pairs + 1)][1:]
    ratios = [one[0] / two[0] for one, two in runs]
    ratio = statistics.median(ratios)
    seconds = [f'{statistics.median(run[side][0] for run in runs):.2f} s' for side in (0, 1)]
    rows.append([case, against, *seconds, f'**{ratio:.3f}** ({min(ratios):.3f} to {max(ratios):.3f})',
                 *verdict(ratio, goal)])
    if memory:
        peak = max(one[1] for one, _ in runs)
        rows.append([f'{case}: peak memory', '', f'{peak:.1f} MiB', '', '', *verdict(peak, memory, ' MiB')])


def print_rows():
    model = do('sed', '-n', 's/^model name[^:]*: //p', '/proc/cpuinfo').split('\n')[0]
    print(f'{model}, {os.cpu_count()} cores, Linux {os.uname().release}, {do("date", "+%F")}')
    print('| case | against | ours | other | ratio: median (least to most) | goal | |\n|---|---|---|---|---|---|---|')
    print('\n'.join('| ' + ' | '.join(row) + ' |' for row in rows))
