"""The cases; started by bench/run with the directory of what it has built."""
import filecmp
import os
import shutil
import signal
import subprocess
import sys
import tempfile
import time
from pathlib import Path

from measure import Side, compare, do, print_rows, rows

build = Path(sys.argv[1])
program = build / 'statistics_run/statistics_run'
earlier = build / 'earlier/build/statistics_run'
sample_server = build / 'statistics_run/tests/sample_server'
adapters = Path('packaging/adapters').absolute()
stock_program, stock_tools = '/usr/lib/cgi-bin/awstats.pl', '/usr/share/awstats/tools'
webalizer = shutil.which('webalizer')
month = time.strftime('%Y-%m')
memory, disk = (Path(tempfile.mkdtemp(dir=parent)) for parent in ('/dev/shm', build))


class Tree:
    """A sample server with a static program in place of the generators; each domain has one log."""

    def __init__(self, place, kind, count):
        self.root, self.kind = Path(tempfile.mkdtemp(dir=place)), kind
        self.names = [f'{kind}{number:06}.example' for number in range(1, count + 1)]
        do(sample_server, 'lay-out', self.root, shutil.copy(build / 'stub', place))
        do(sample_server, 'add', self.root, kind, count)
        for path in self.root.glob('panel/etc/awstats/*-ftp.conf'):
            path.unlink()

    def configure(self, **other):
        """Has the program work on this tree, with other places than the tree's where they are named."""
        lines = dict(line.split(' ', 1) for line in (self.root / 'etc/zut/zut.conf').read_text().splitlines())
        lines.update(other)
        (build / 'etc/zut').mkdir(parents=True, exist_ok=True)
        (build / 'etc/zut/zut.conf').write_text(''.join(f'{key} {value}\n' for key, value in lines.items()))

    def domain(self, name):
        return f'{self.root}/vhosts/system/{name}'

    def log(self, name):
        return f'{self.domain(name)}/logs/access_log.webstat'

    def pages(self, name):
        return Path(self.domain(name), 'statistics/webstat')

    def commands(self, name, awstats=None, tools=None, webalizer=None):
        """The two commands of a run for the log of a domain, with the tree's generators or others."""
        if self.kind == 'awstats':
            awstats, tools = awstats or f'{self.root}/bin/awstats.pl', tools or f'{self.root}/tools'
            words = f'-configdir={self.root}/panel/etc/awstats -config={name}-http'
            return (f'{awstats} -update {words} -LogFile={self.log(name)}', f'{tools}/awstats_buildstaticpages.pl '
                    f'-awstatsprog={awstats} {words} -dir={self.domain(name)}/statistics//webstat/current')
        words = (f'{webalizer or self.root / "bin/webalizer"} -c {self.domain(name)}/conf/webalizer.conf -n {name} '
                 f'-D {self.root}/panel/var/webalizer/webalizer.cache')
        return (f'{words} -N 15 -F clf - < {self.log(name)}',
                f'{words} -p -N 0 -o {self.pages(name)} -F clf - < {self.log(name)} 2>&1')

    def is_done(self, output='Finished.\n'):
        return (output.endswith('Finished.\n') and not any(word in output for word in ('Error', 'Unable', 'failed')) and
                not any(path.stat().st_size for path in self.root.glob('vhosts/system/*/logs/*.webstat')))

    def bring(self):
        do(sample_server, 'bring', self.root, 'prepared')
        do('sync', '-f', self.root)

    def night(self, first=False, program=program):
        """A run with a record in each log; first: the first one of a month."""
        def prepare():
            self.configure()
            for name in self.names if first else ():
                shutil.rmtree(self.pages(name))
                self.pages(name).mkdir()
            self.bring()
        return Side([program], prepare, self.is_done)

    def bare(self):
        """The same programs with nothing around them, and the same logs emptied."""
        with open(self.root / 'lines', 'w') as lines:
            for name in self.names:
                verbs = ('start', 'shell') if self.kind == 'awstats' else ('shell', 'shell')
                for verb, command in zip(verbs, self.commands(name)):
                    lines.write(f'{verb} {command}\n')
                lines.write(f'empty {self.log(name)}\n')
        return Side([build / 'bare', self.root / 'lines'], self.bring, lambda output: self.is_done())

    def debian_scripts(self):
        """Debian's own scripts. What they find at their fixed paths is laid over in a mount namespace."""
        cache = self.root / 'cache'

        def prepare():
            shutil.rmtree(cache, ignore_errors=True)
            cache.mkdir()
            do('sh', '-c', f'sed "s/^AWSTATS_NICE=.*/AWSTATS_NICE=0/" /etc/default/awstats >{self.root}/defaults')
        script = 'cd "$0"' + ''.join(f'; mount --bind {ours} {path}' for ours, path in (
            ('panel/etc/awstats', '/etc/awstats'), ('cache', '/var/cache/awstats'), ('bin/awstats.pl', stock_program),
            ('tools/awstats_buildstaticpages.pl', f'{stock_tools}/awstats_buildstaticpages.pl'),
            ('defaults', '/etc/default/awstats'))) + f'; {stock_tools}/update.sh; {stock_tools}/buildstatic.sh'
        return Side(['unshare', '--mount', 'sh', '-ec', script, self.root], prepare,
                    lambda output: output == '' and len(list(cache.glob('**/index.*'))) == len(self.names))


def measure_awstats(place, goals):
    tree = Tree(place, 'awstats', 500)
    case, emptied = f'500 AWStats domains {"on a disk" if place == disk else "in memory"}', 'the bare programs, logs emptied'
    compare(f'{case}, nothing changed but the logs', 'commit 0978dd6', tree.night(), tree.night(program=earlier), goals[0])
    compare(f'{case}, nothing changed but the logs', emptied, tree.night(), tree.bare(), goals[1])
    compare(f'{case}, the first run of a month', emptied, tree.night(first=True), tree.bare())


def measure_scripts():
    tree = Tree(memory, 'awstats', 500)
    compare('500 AWStats domains in memory', "update.sh and buildstatic.sh of Debian's awstats", tree.night(),
            tree.debian_scripts(), 0.5)


def measure_webalizer():
    tree = Tree(memory, 'webalizer', 500)
    compare('500 Webalizer domains in memory', 'the bare shell commands, logs emptied', tree.night(), tree.bare(), 1.10)


def measure_growth():
    compare('100,000 domains without a generator', '10,000 of them', Tree(memory, 'none', 100000).night(),
            Tree(memory, 'none', 10000).night(), 11, pairs=5, memory=25)


def measure_capture():
    size, letters = 1 << 30, memory / 'letters'
    letters.write_text(f'#!/usr/bin/perl\nsyswrite STDOUT, "x" x 65536 for 1 .. {size // 65536};\n')
    letters.chmod(0o755)
    runner, shell, loop = (Side([build / 'capture', way, size, letters]) for way in ('runner', 'shell', 'loop'))
    for name, ours in (('korvo::ExecCmd', runner), ('popen_exec_output', shell)):
        compare(f"1 GiB of a child's output through {name}", 'a bare loop of read', ours, loop, 1.5, 5, memory=2252)


class RealTree(Tree):
    """Domains for the stock generators, in Debian's configuration of AWStats."""

    def __init__(self, kind, count, records):
        super().__init__(memory, kind, count)
        for name in self.names:
            (self.root / name).write_text(do('bench/write_log', name, records))
            Path(self.domain(name), 'conf/webalizer.conf').write_text('Incremental yes\n') if kind == 'webalizer' else (
                self.root / f'panel/etc/awstats/awstats.{name}-http.conf').write_text(
                    'Include "/etc/awstats/awstats.conf"\n'
                    f'LogFormat=1\nSiteDomain="{name}"\nDirData="{self.root}/data"\n')

    def reset(self, **places):
        """Nothing is known of the logs, and the directories for the pages are there."""
        self.configure(**places)
        for directory in ('data', 'panel/var/webalizer', *map(self.pages, self.names)):
            shutil.rmtree(self.root / directory, ignore_errors=True)
            (self.root / directory).mkdir()
        for name in self.names:
            (self.pages(name) / month).mkdir()
            (self.pages(name) / 'current').symlink_to(month)
            shutil.copy(self.root / name, self.log(name))

    def made(self):
        return sorted(str(path) for path in self.root.glob('vhosts/system/*/statistics/webstat/**/*.html')
                      if path.name not in ('index.html', 'nav.html') and path.stat().st_size)

    def compare(self, case, stock, goal, pairs, **places):
        """A run, with the programs at those places, against the stock programs in a script, for the same pages."""
        (self.root / 'script').write_text('\n'.join('\n'.join(self.commands(name, **stock)) for name in self.names))
        pages = []

        def is_done(output):
            pages[:] = self.made()
            return self.is_done(output) and len(pages) >= len(self.names)
        compare(case, 'the stock commands in a shell script', Side([program], lambda: self.reset(**places), is_done),
                Side(['sh', self.root / 'script'], self.reset, lambda output: self.made() == pages), goal, pairs)


def measure_real_awstats():
    RealTree('awstats', 8, 1000).compare(
        "a real run: 8 AWStats domains, Debian's configuration, 1,000 records each",
        {'awstats': stock_program, 'tools': stock_tools}, 0.5, 5, AWSTATS_BIN_D=adapters, AWSTATS_TOOLS_D=adapters)


def measure_real_webalizer():
    if webalizer:
        RealTree('webalizer', 8, 100000).compare('a real run: 8 Webalizer domains, 100,000 records each',
                                                 {'webalizer': webalizer}, 1.02, 21, WEB_STAT=webalizer)


def measure_pages():
    """The page builder of Debian against the adapter in its place, on one core."""
    tree = RealTree('awstats', 1, 1000)
    tree.reset()
    do('sh', '-c', tree.commands(tree.names[0], stock_program)[0])

    def side(directory, awstats, tools, check=lambda output: True):
        (tree.root / directory).mkdir()
        words = tree.commands(tree.names[0], awstats, tools)[1].split()[:-1]
        return Side(['taskset', '-c', '0', *words, f'-dir={tree.root / directory}'], check=check)

    def same(output):
        made = [sorted(os.listdir(tree.root / directory)) for directory in ('ours', 'stock')]
        return made[0] == made[1] == filecmp.cmpfiles(tree.root / 'ours', tree.root / 'stock', made[0], False)[0]
    compare("the 23 pages of Debian's configuration by the adapter, on one core", 'the stock page builder, the same bytes',
            side('ours', f'{adapters}/awstats.pl', adapters), side('stock', stock_program, stock_tools, same), 0.4)


def measure_calls():
    """The system calls that one more domain costs the program itself."""
    for kind in ('awstats', 'webalizer', 'none'):
        counts = []
        for count in (100, 200):
            side, trace = Tree(memory, kind, count).night(), memory / 'calls'
            side.run()
            side.prepare()
            subprocess.run(['strace', '-qq', '-c', '-U', 'calls,name', '-o', trace, program], capture_output=True)
            lines = [line.split() for line in trace.read_text().splitlines()]
            counts.append({words[1]: int(words[0]) for words in lines if words[0].isdigit()})
        each = {name: (number - counts[0].get(name, 0)) / 100 for name, number in counts[1].items()}
        most = sorted((name for name in each if each[name] >= 0.5), key=lambda name: (-each[name], name))
        rows.append([f'system calls a domain: {kind}', '', ', '.join(f'{name} {each[name]:.0f}' for name in most)] + [''] * 4)


cases = {name[len('measure_'):]: case for name, case in globals().items() if name.startswith('measure_')}
cases['awstats'] = lambda: [measure_awstats(disk, (0.60, 1.25)), measure_awstats(memory, (None, 1.20))]
signal.signal(signal.SIGTERM, lambda *_: sys.exit(143))  # what is temporary is removed
chosen = sys.argv[2:] or list(cases)
try:
    if not set(chosen) <= set(cases):
        sys.exit(f'bench/run: the cases are {" ".join(cases)}')
    for name in chosen:
        cases[name]()
finally:
    shutil.rmtree(memory)
    shutil.rmtree(disk)
print_rows()
