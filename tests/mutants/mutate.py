"""Changes one small thing of a source at a time and shows which changes no test notices (scripts/mutate --help)."""
import argparse
import collections
import concurrent.futures
import glob
import json
import os
import random
import re
import shlex
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
import time

from mutants import mutants_of

PROJECT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
BUILD = os.path.join(PROJECT, 'build', 'mutate')
COVERAGE = os.path.join(BUILD, 'coverage')
JUDGED = os.path.join(PROJECT, 'tests', 'mutants', 'judged.txt')
AREAS = ('src', 'platform/linux/db')
CORES = {'src/libphotoindex_core.so': 'src/CMakeFiles/photoindex_core.dir/',
         'platform/linux/libkavoplatform_core.so': 'platform/linux/CMakeFiles/kavoplatform_core.dir/',
         'platform/linux/libkavoplatform.so': 'platform/linux/CMakeFiles/kavoplatform_core.dir/'}
SLOWEST = 20       # seconds that a program may take at least, however quick it is otherwise
LONGEST = 600      # seconds that a program may take when nothing is changed
PATIENCE = 10      # a changed program may take this many times as long


class Build:
    """What the build knows: how objects and libraries are made, and what goes into an object."""

    def __init__(self):
        commands = json.load(open(os.path.join(BUILD, 'compile_commands.json')))
        self.compile = {}  # object, from BUILD -> arguments
        self.source = {}   # object -> source, from PROJECT
        for entry in commands:
            arguments = [a for a in shlex.split(entry['command']) if 'ccache' not in a.lower()]
            arguments = arguments[1:] if arguments[0] == 'env' else arguments
            target = arguments[arguments.index('-o') + 1]
            if any(target.startswith(folder) for folder in CORES.values()):
                self.compile[target] = arguments
                self.source[target] = os.path.relpath(os.path.join(BUILD, entry['file']), PROJECT)
        self.link = {}
        for library in CORES:
            lines = output('ninja', '-C', BUILD, '-t', 'commands', library).split('\n')
            text = [line for line in lines if ' -shared ' in line and f' -o {library}' in line][-1]
            self.link[library] = shlex.split(re.search(r'(\S*c\+\+ .*?-shared .*?)(?: && :)?$', text).group(1))
        self.inputs = self._inputs()

    def _inputs(self):
        """object -> the project's files that go into it."""
        inputs, target = {}, None
        for line in output('ninja', '-C', BUILD, '-t', 'deps').split('\n'):
            if line and not line.startswith(' '):
                target = line.split(':')[0]
            elif target in self.compile:
                path = os.path.realpath(os.path.join(BUILD, line.strip()))
                inputs.setdefault(target, set()).add(os.path.relpath(path, PROJECT))
        for target, source in self.source.items():
            inputs.setdefault(target, set()).add(source)
        return inputs

    def objects_of(self, file):
        return sorted(target for target, files in self.inputs.items() if file in files)

    def libraries_of(self, targets):
        return [library for library, folder in CORES.items() if any(t.startswith(folder) for t in targets)]


def output(*command, **options):
    return subprocess.run(command, check=True, capture_output=True, text=True, **options).stdout


def compile_object(build, target, folder, overlay=None, coverage=False):
    """Makes TARGET below FOLDER; with OVERLAY a source or header there is taken before the project's. The messages, or None."""
    arguments = list(build.compile[target])
    made = os.path.join(folder, target)
    os.makedirs(os.path.dirname(made), exist_ok=True)
    arguments[arguments.index('-o') + 1] = made
    for at, argument in enumerate(arguments):
        if argument in ('-MF', '-MT'):
            arguments[at + 1] = made + '.d'
    if overlay:
        source = os.path.join(overlay, build.source[target])
        if os.path.exists(source):
            arguments[arguments.index('-c') + 1] = source
        roots = [os.path.join(overlay, root) for root in ('src', 'platform/linux', 'include')]
        arguments[1:1] = ['-I' + root for root in roots if os.path.isdir(root)]
        arguments += ['-Werror=return-type', '-w']
    if coverage:
        arguments.append('--coverage')
    done = subprocess.run(arguments, cwd=BUILD, capture_output=True, text=True)
    return None if done.returncode == 0 else done.stderr


def link_library(build, library, folder, made, coverage=False):
    """Makes LIBRARY in FOLDER with the objects MADE there in place of those of the build."""
    arguments = [os.path.join(folder, a) if a in made else a for a in build.link[library]]
    arguments[arguments.index('-o') + 1] = os.path.join(folder, os.path.basename(library))
    if coverage:
        arguments.append('--coverage')
    subprocess.run(arguments, cwd=BUILD, check=True, capture_output=True, text=True)
    if library.endswith('kavoplatform.so'):
        os.symlink('libkavoplatform.so', os.path.join(folder, 'libkavoplatform.so.1'))


class Program:
    """A test program, as it is run."""
    postgres = threading.Lock()  # its tests share one database

    def __init__(self, path):
        self.path = path
        self.name = os.path.basename(path)
        self.seconds = 0.0

    def run(self, libraries, scratch, limit, environment=None):
        """Its exit status; None when it took longer than LIMIT seconds."""
        home = tempfile.mkdtemp(dir=scratch)
        settings = dict(os.environ, LD_LIBRARY_PATH=libraries, XDG_STATE_HOME=home, TMPDIR=home, GTEST_FAIL_FAST='1',
                        LC_ALL='C.UTF-8', **(environment or {}))
        started = time.monotonic()
        with self.postgres if self.needs_database() else threading.Lock():
            process = subprocess.Popen([self.path], stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                                       stderr=subprocess.DEVNULL, env=settings, cwd=home, start_new_session=True)
            try:
                return process.wait(limit)
            except subprocess.TimeoutExpired:
                return None
            finally:
                try:
                    os.killpg(process.pid, signal.SIGKILL)
                except ProcessLookupError:
                    pass
                process.wait()
                self.seconds = self.seconds or time.monotonic() - started
                subprocess.run(['chmod', '-R', 'u+rwx', home], capture_output=True)
                shutil.rmtree(home, ignore_errors=True)

    def needs_database(self):
        return self.name.startswith(('integration_', 'platform_'))

    def limit(self):
        return max(SLOWEST, PATIENCE * self.seconds)


def test_programs():
    paths = [p for p in glob.glob(os.path.join(BUILD, 'tests', '*_*')) if os.access(p, os.X_OK) and os.path.isfile(p)]
    return [Program(p) for p in sorted(paths) if os.path.basename(p).startswith(('unit_', 'platform_', 'integration_'))]


class Coverage:
    """Which programs execute what."""

    def __init__(self, build):
        self.build = build
        self.lines = collections.defaultdict(dict)      # (file, line) -> {program: times}
        self.functions = collections.defaultdict(dict)  # (file, first, last) -> {program: times}
        self.files = collections.defaultdict(set)       # object -> programs that execute anything in it

    def add(self, program, folder):
        """Takes in what PROGRAM left below FOLDER."""
        found = []
        for counts in glob.glob(os.path.join(folder, '**', '*.gcda'), recursive=True):
            target = os.path.relpath(counts, folder + COVERAGE)[:-len('.gcda')]
            notes = os.path.join(COVERAGE, target + '.gcno')
            if os.path.exists(notes):
                os.symlink(notes, counts[:-len('.gcda')] + '.gcno')
                found.append(counts)
        if not found:
            return
        for line in filter(None, output('gcov', '--json-format', '--stdout', *found, cwd=BUILD).split('\n')):
            data = json.loads(line)
            target = os.path.relpath(data['data_file'], folder + COVERAGE)[:-len('.gcda')] + '.o'
            for file in data['files']:
                self._read(program, target, file)

    def _read(self, program, target, file):
        name = os.path.relpath(os.path.realpath(os.path.join(BUILD, file['file'])), PROJECT)
        if not name.startswith(AREAS):
            return
        for entry in file['lines']:
            self._count(self.lines[name, entry['line_number']], program, entry['count'])
        for entry in file['functions']:
            span = (name, entry['start_line'], entry['end_line'])
            self._count(self.functions[span], program, entry['execution_count'])
            if entry['execution_count']:
                self.files[target].add(program)

    @staticmethod
    def _count(counts, program, times):
        counts[program] = counts.get(program, 0) + times

    def programs_for(self, mutant):
        """The names of those that may notice; the lines are asked first, then the function around them, then the file."""
        last = mutant.line + mutant.old.count('\n')
        asked = [self.lines[mutant.file, n] for n in range(mutant.line, last + 1) if (mutant.file, n) in self.lines]
        if not asked:
            asked = [counts for (file, first, end), counts in self.functions.items()
                     if file == mutant.file and first <= mutant.line <= end]
        if asked:
            return {program for counts in asked for program, times in counts.items() if times}
        return {program for target in self.build.objects_of(mutant.file) for program in self.files[target]}

    def save(self, path, programs):
        keyed = lambda table: [[list(key), counts] for key, counts in table.items()]
        with open(path, 'w') as out:
            json.dump({'lines': keyed(self.lines), 'functions': keyed(self.functions),
                       'files': {k: sorted(v) for k, v in self.files.items()},
                       'seconds': {p.name: p.seconds for p in programs}}, out)

    def load(self, path, programs):
        """The names of the programs that it knows."""
        data = json.load(open(path))
        for table, entries in ((self.lines, data['lines']), (self.functions, data['functions'])):
            for key, counts in entries:
                table[tuple(key)] = counts
        for target, names in data['files'].items():
            self.files[target] = set(names)
        for program in programs:
            program.seconds = data['seconds'].get(program.name, 0.0)


def measure(build, programs, jobs):
    """Runs every program unchanged: what it executes, how long it takes, and whether it passes at all."""
    shutil.rmtree(COVERAGE, ignore_errors=True)
    os.makedirs(COVERAGE)
    with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
        for message in pool.map(lambda t: compile_object(build, t, COVERAGE, coverage=True), build.compile):
            if message:
                sys.exit(message)
    for library in CORES:
        link_library(build, library, COVERAGE, build.compile, coverage=True)
    coverage, lock = Coverage(build), threading.Lock()

    def run(program):
        with tempfile.TemporaryDirectory(dir=BUILD) as scratch:
            counts = os.path.join(scratch, 'counts')
            status = program.run(COVERAGE, scratch, LONGEST, {'GCOV_PREFIX': counts})
            with lock:
                coverage.add(program.name, counts)
        return status

    with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
        for program, status in zip(programs, pool.map(run, programs)):
            if status != 0:
                print(f'{program.name} fails without any change and is left out', file=sys.stderr)
                program.seconds = -1.0
    coverage.save(os.path.join(BUILD, 'coverage.json'), programs)
    return coverage


class Runner:
    def __init__(self, build, coverage, programs):
        self.build, self.coverage = build, coverage
        self.programs = {p.name: p for p in programs if p.seconds >= 0}
        self.kills = collections.Counter()  # (file, program)

    def try_one(self, mutant):
        """'invalid', 'survived', 'uncovered', or the name of the program that noticed."""
        with tempfile.TemporaryDirectory(dir=BUILD) as folder:
            targets = self.build.objects_of(mutant.file)
            if not targets:
                return 'invalid'
            self._write(mutant, folder)
            names = self.coverage.programs_for(mutant) & set(self.programs)
            if any(compile_object(self.build, t, folder, overlay=folder) for t in targets):
                return 'invalid'
            if not names:
                return 'uncovered'
            for library in self.build.libraries_of(targets):
                link_library(self.build, library, folder, targets)
            return self._first_to_notice(mutant, names, folder)

    def _write(self, mutant, folder):
        changed = os.path.join(folder, mutant.file)
        os.makedirs(os.path.dirname(changed))
        lines = open(os.path.join(PROJECT, mutant.file)).read().split('\n')
        with open(changed, 'w') as out:
            out.write('\n'.join(mutant.apply(lines)))

    def _first_to_notice(self, mutant, names, folder):
        order = sorted(names, key=lambda n: (-self.kills[mutant.file, n], self.programs[n].seconds))
        for name in order:
            program = self.programs[name]
            if program.run(folder, folder, program.limit()) != 0:
                self.kills[mutant.file, name] += 1
                return name
        return 'survived'


def judged():
    """The changes that were looked at and that no test has to notice."""
    if not os.path.exists(JUDGED):
        return {}
    lines = [line.rstrip('\n') for line in open(JUDGED)]
    pairs = [line.rsplit('  -- ', 1) for line in lines if line and not line.startswith('#')]
    return {key: reason for key, reason in pairs}


def arguments():
    parser = argparse.ArgumentParser(prog='scripts/mutate', description=__doc__)
    parser.add_argument('--list', action='store_true', help='print the changes and try none')
    parser.add_argument('--file', action='append', metavar='FILE', help='only of this source, or of those below this folder')
    parser.add_argument('--sample', type=int, metavar='N', help='N of them, chosen by chance')
    parser.add_argument('--seed', type=int, default=1, metavar='S', help='the same S chooses the same (default 1)')
    parser.add_argument('--only', metavar='LIST', help='those in this file, one a line as --list or a run prints them')
    parser.add_argument('--jobs', type=int, default=1, metavar='N', help='how many are tried at a time (default 1)')
    parser.add_argument('--same-tests', action='store_true', help='what the tests execute is known from the run before')
    return parser.parse_args()


def chosen(options):
    files = sorted(f for area in AREAS for kind in ('cpp', 'h')
                   for f in glob.glob(os.path.join(area, '**', '*.' + kind), root_dir=PROJECT, recursive=True))
    if options.file:
        wanted = [os.path.relpath(os.path.abspath(f), PROJECT) for f in options.file]
        files = [f for f in files if any(f == w or f.startswith(w + '/') for w in wanted)]
    mutants = [m for f in files for m in mutants_of(f, open(os.path.join(PROJECT, f)).read())]
    if options.only:
        keys = {line.split('  ', 1)[-1].strip() for line in open(options.only)}
        mutants = [m for m in mutants if m.key in keys]
    if options.sample is not None and options.sample < len(mutants):
        # One after the other in an order of its own, so that a larger sample holds a smaller one.
        mutants = random.Random(options.seed).sample(mutants, len(mutants))[:options.sample]
    return mutants


def summary(results, known):
    killed = sum(1 for _, result in results if result not in ('invalid', 'survived', 'uncovered'))
    left = [m for m, result in results if result in ('survived', 'uncovered')]
    equal = sum(1 for m in left if m.key in known)
    counted = killed + len(left)
    share = 100 * killed / counted if counted else 100
    return (f'{counted} changes, {killed} noticed ({share:.1f} %), {len(left)} survive, of which {equal} are judged; '
            f'{len(results) - counted} do not compile')


def main():
    options = arguments()
    os.chdir(PROJECT)
    mutants = chosen(options)
    if options.list:
        print('\n'.join(f'{m.file}:{m.line}  {m.key}' for m in mutants))
        return 0
    build, programs, known = Build(), test_programs(), judged()
    kept = os.path.join(BUILD, 'coverage.json')
    if options.same_tests and os.path.exists(kept):
        coverage = Coverage(build)
        coverage.load(kept, programs)
    else:
        coverage = measure(build, programs, options.jobs)
    runner, results = Runner(build, coverage, programs), []
    with concurrent.futures.ThreadPoolExecutor(options.jobs) as pool:
        for mutant, result in zip(mutants, pool.map(runner.try_one, mutants)):
            results.append((mutant, result))
            if result in ('survived', 'uncovered') and mutant.key not in known:
                print(f'{mutant.file}:{mutant.line} {result}  {mutant.key}', flush=True)
    by_area = {area: [r for r in results if r[0].file.startswith(area + '/')] for area in AREAS}
    for area, part in by_area.items():
        if part:
            print(f'{area}: {summary(part, known)}')
    return 1 if any(r in ('survived', 'uncovered') and m.key not in known for m, r in results) else 0


if __name__ == '__main__':
    sys.exit(main())
