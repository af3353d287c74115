"""Changes one small thing of a source at a time and shows which changes no test notices (scripts/mutate --help)."""
import argparse
import collections
import concurrent.futures
import os
import random
import re
import signal
import sys
import tempfile
import time

from build import AREAS, BUILD, PROJECT, UNCHANGED, Build, sources
from coverage import measure
from mutants import mutants_of
from programs import RUNNING, Stopped, failed_test, test_programs
from results import Kept, judged, print_figures

PROGRESS = 20  # changes between two lines of figures
ATTEMPTS = 3   # how often a program is asked again when it fails without the change too


class Runner:
    def __init__(self, build, coverage, programs, kept):
        self.build, self.coverage, self.kept = build, coverage, kept
        self.programs = {p.name: p for p in programs}
        self.kills = collections.Counter()  # (file, program)

    def try_one(self, mutant):
        """The result; None when the run was stopped."""
        started = time.monotonic()
        try:
            with tempfile.TemporaryDirectory(dir=BUILD, prefix='changed-') as folder:
                verdict, by = self._verdict(mutant, folder)
        except Stopped:
            return None
        return self.kept.keep(mutant, verdict, by, time.monotonic() - started)

    def _verdict(self, mutant, folder):
        targets = self.build.objects_of(mutant.file)
        self._write(mutant, folder)
        for target in targets:
            if RUNNING.stopped:
                raise Stopped
            if self.build.make(target, folder, overlay=folder):
                return 'invalid', ''
        names = self.coverage.programs_for(mutant) & set(self.programs)
        if not names:
            return 'uncovered', ''
        if not self.build.link_all(folder, targets):
            return 'invalid', ''
        # Quick programs first, and those that notice much in this file before all.
        for name in sorted(names, key=lambda n: (-self.kills[mutant.file, n], self.programs[n].seconds)):
            test = self._failure(self.programs[name], folder)
            if test:
                self.kills[mutant.file, name] += 1
                return 'noticed', f'{name}: {test}'
        return 'survived', ''

    @staticmethod
    def _write(mutant, folder):
        changed = os.path.join(folder, mutant.file)
        os.makedirs(os.path.dirname(changed))
        with open(mutant.file) as file:
            lines = file.read().split('\n')
        with open(changed, 'w') as out:
            out.write('\n'.join(mutant.apply(lines)))

    @staticmethod
    def _failure(program, folder):
        """What fails in PROGRAM with the libraries in FOLDER, or None. A busy machine fails tests too: a failure counts when it
        comes again, and does not come when nothing is changed."""
        for _ in range(ATTEMPTS):
            status, text = program.run(folder, program.limit())
            if status == 0:
                return None
            if status is not None and program.run(folder, program.limit())[0] == 0:
                return None
            if program.run(UNCHANGED, program.limit())[0] == 0:
                return 'time' if status is None else failed_test(text)
        print(f'{program.name} fails without any change now', file=sys.stderr, flush=True)
        return None


def arguments():
    parser = argparse.ArgumentParser(prog='scripts/mutate', description=__doc__)
    parser.add_argument('--list', action='store_true', help='print the changes and try none')
    parser.add_argument('--file', action='append', metavar='FILE', help='only of this source, or of those below this folder')
    parser.add_argument('--sample', type=int, metavar='N', help='N of them, chosen by chance')
    parser.add_argument('--seed', type=int, default=1, metavar='S', help='the same S chooses the same (default 1)')
    parser.add_argument('--only', metavar='LIST', help='those in this file, one a line as --list or a run prints them')
    parser.add_argument('--jobs', type=int, default=1, metavar='N', help='how many are tried at a time (default 1)')
    parser.add_argument('--programs', default='', metavar='REGEX', help='only the test programs with such a name, as in "unit_.*"')
    parser.add_argument('--resume', action='store_true',
                        help='take what earlier runs found where nothing that matters has changed since')
    parser.add_argument('--noticed', action='store_true', help='print by which test, too')
    return parser.parse_args()


def chosen(options):
    files = sorted(f for area in AREAS for f in sources(area))
    if options.file:
        wanted = [os.path.relpath(os.path.abspath(f), PROJECT) for f in options.file]
        files = [f for f in files if any(f == w or f.startswith(w + '/') for w in wanted)]
    mutants = []
    for file in files:
        with open(file) as text:
            mutants += mutants_of(file, text.read())
    if options.only:
        with open(options.only) as lines:
            keys = {line.split('  ', 1)[-1].strip() for line in lines}
        mutants = [m for m in mutants if m.key in keys]
    if options.sample is not None and options.sample < len(mutants):
        # One after the other in an order of its own, so that a larger sample holds a smaller one.
        mutants = random.Random(options.seed).sample(mutants, len(mutants))[:options.sample]
    return mutants


def show(mutant, result, known, noticed):
    if result.is_left and mutant.key not in known:
        print(f'{mutant.file}:{mutant.line} {result.verdict}  {mutant.key}', flush=True)
    elif result.verdict == 'noticed' and (noticed or result.by.endswith(': time')):
        print(f'{mutant.file}:{mutant.line} {result.by}  {mutant.key}', flush=True)


def try_all(options, mutants, kept, known):
    build = Build()
    asked = [p for p in test_programs() if re.match(options.programs, p.name)]
    coverage, programs = measure(build, asked, options.jobs)
    runner, results = Runner(build, coverage, programs, kept), []
    with concurrent.futures.ThreadPoolExecutor(options.jobs) as pool:
        for mutant, result in zip(mutants, pool.map(lambda m: kept.of(m) or runner.try_one(m), mutants)):
            if result is None:
                continue
            results.append(result)
            show(mutant, result, known, options.noticed)
            if len(results) % PROGRESS == 0:
                print_figures(results, known, len(mutants))
    return results


def main():
    options = arguments()
    os.chdir(PROJECT)
    mutants = chosen(options)
    if options.list:
        print('\n'.join(f'{m.file}:{m.line}  {m.key}' for m in mutants))
        return 0
    for number in (signal.SIGINT, signal.SIGTERM):
        signal.signal(number, lambda *_: RUNNING.stop())
    known, kept = judged(), Kept(options.resume, options.programs)
    try:
        results = try_all(options, mutants, kept, known)
    except Stopped:
        return 1
    print_figures(results, known, len(mutants))
    return 1 if any(r.is_left and r.key not in known for r in results) else 0


if __name__ == '__main__':
    sys.exit(main())
