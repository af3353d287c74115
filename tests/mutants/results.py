"""What came of each change: kept as it is found, so that a run can be stopped and taken up again."""
import collections
import json
import os
import threading
from dataclasses import asdict, dataclass

from build import AREAS, BUILD, PROJECT, digest_of, sources

KEPT = os.path.join(BUILD, 'results.jsonl')
JUDGED = os.path.join(PROJECT, 'tests', 'mutants', 'judged.txt')
EQUAL = 'equal: '  # begins the reason of a change that nobody outside could tell


@dataclass(frozen=True)
class Result:
    key: str
    line: int
    verdict: str      # 'noticed', 'survived', 'uncovered', 'invalid'
    by: str = ''      # the program that noticed, and the test that failed or "time"
    seconds: float = 0.0
    state: str = ''   # of what it depends on

    @property
    def is_left(self):
        return self.verdict in ('survived', 'uncovered')


class Kept:
    """A change that was noticed stays so while its file is the same; one that was not may be with other tests."""

    def __init__(self, resume, programs):
        self.lock, self.found, self.files = threading.Lock(), {}, {}
        tests = [os.path.join(folder, name) for folder, _, names in os.walk('tests') for name in names
                 if name.endswith(('.cpp', '.h', '.txt')) and not folder.startswith('tests/mutants')]
        self.all = programs + digest_of(sorted(tests) + sources('src') + sources('platform') + sources('include'))
        if resume and os.path.exists(KEPT):
            with open(KEPT) as file:
                for line in filter(str.strip, file):
                    result = Result(**json.loads(line))
                    self.found[result.key, result.line] = result

    def state(self, mutant, verdict):
        if verdict in ('survived', 'uncovered'):
            return self.all
        if mutant.file not in self.files:
            self.files[mutant.file] = digest_of([mutant.file])
        return self.files[mutant.file]

    def of(self, mutant):
        result = self.found.get((mutant.key, mutant.line))
        return result if result and result.state == self.state(mutant, result.verdict) else None

    def keep(self, mutant, verdict, by, seconds):
        result = Result(mutant.key, mutant.line, verdict, by, round(seconds, 1), self.state(mutant, verdict))
        with self.lock, open(KEPT, 'a') as out:
            out.write(json.dumps(asdict(result)) + '\n')
        return result


def judged():
    """The changes that were looked at and that no test has to notice, with the reason."""
    with open(JUDGED) as file:
        lines = [line.rstrip('\n') for line in file]
    pairs = [line.rsplit('  -- ', 1) for line in lines if line and not line.startswith('#')]
    return {key: reason for key, reason in pairs}


def figures(results, known):
    verdicts = collections.Counter(r.verdict for r in results)
    left = [r for r in results if r.is_left]
    equal = sum(1 for r in left if known.get(r.key, '').startswith(EQUAL))
    accepted = sum(1 for r in left if r.key in known) - equal
    count = verdicts['noticed'] + len(left) - equal
    share = 100 * verdicts['noticed'] / count if count else 100
    by_time = sum(1 for r in results if r.verdict == 'noticed' and r.by.endswith(': time'))
    return (f'{count} changes, {verdicts["noticed"]} noticed ({share:.1f} %; {by_time} by time), {len(left) - equal} survive, '
            f'of which {accepted} are judged; besides, {equal} change nothing and {verdicts["invalid"]} do not compile')


def print_figures(results, known, total):
    if len(results) < total:
        print(f'{len(results)} of {total} were tried')
    for area in AREAS:
        part = [r for r in results if r.key.startswith(area + '/')]
        if part:
            print(f'{area}: {figures(part, known)}', flush=True)
