"""Which test programs execute what: measured once for each, and kept until it or the libraries change."""
import collections
import concurrent.futures
import glob
import json
import os
import shutil
import sys
import tempfile

from build import AREAS, BUILD, CORES, PROJECT, digest_of, output
from programs import LONGEST, failed_test

WITH_COUNTS = os.path.join(BUILD, 'coverage')  # the libraries that count
KEPT = os.path.join(BUILD, 'executed')         # a file for each program


def write_whole(path, data):
    """PATH has all of DATA or what it had before."""
    with open(path + '.new', 'w') as out:
        json.dump(data, out)
    os.replace(path + '.new', path)


def counted(folder):
    """What the counts below FOLDER say: lines with code and those that ran, functions, objects of which anything ran."""
    found = []
    for counts in glob.glob(os.path.join(folder, '**', '*.gcda'), recursive=True):
        notes = os.path.join(WITH_COUNTS, os.path.relpath(counts, folder + WITH_COUNTS)[:-len('.gcda')] + '.gcno')
        if os.path.exists(notes):
            os.symlink(notes, counts[:-len('.gcda')] + '.gcno')
            found.append(counts)
    code, ran = collections.defaultdict(set), collections.defaultdict(set)
    functions, objects = {}, set()
    text = output('gcov', '--json-format', '--stdout', *found, cwd=BUILD) if found else ''
    for data in map(json.loads, filter(None, text.split('\n'))):
        target = os.path.relpath(data['data_file'], folder + WITH_COUNTS)[:-len('.gcda')] + '.o'
        for file in data['files']:
            name = os.path.relpath(os.path.realpath(os.path.join(BUILD, file['file'])), PROJECT)
            if not name.startswith(AREAS):
                continue
            for line in file['lines']:
                code[name].add(line['line_number'])
                if line['count']:
                    ran[name].add(line['line_number'])
            for entry in file['functions']:
                span = (name, entry['start_line'], entry['end_line'])
                functions[span] = functions.get(span, 0) + entry['execution_count']
                if entry['execution_count']:
                    objects.add(target)
    return {'code': {f: sorted(n) for f, n in code.items()}, 'ran': {f: sorted(n) for f, n in ran.items()},
            'functions': [[*span, times > 0] for span, times in functions.items()], 'objects': sorted(objects)}


class Coverage:
    def __init__(self, build):
        self.build = build
        self.code = collections.defaultdict(set)       # file -> lines with code
        self.lines = collections.defaultdict(set)      # (file, line) -> programs
        self.functions = collections.defaultdict(set)  # (file, first, last) -> programs
        self.objects = collections.defaultdict(set)    # object -> programs

    def add(self, program, data):
        for file, numbers in data['code'].items():
            self.code[file].update(numbers)
        for file, numbers in data['ran'].items():
            for number in numbers:
                self.lines[file, number].add(program)
        for file, first, last, ran in data['functions']:
            self.functions[file, first, last].update([program] if ran else [])
        for target in data['objects']:
            self.objects[target].add(program)

    def programs_for(self, mutant):
        """The names of those that may notice; the lines are asked first, then the function around them, then the file."""
        lines = range(mutant.line, mutant.line + mutant.old.count('\n') + 1)
        asked = [self.lines[mutant.file, n] for n in lines if n in self.code[mutant.file]]
        if not asked:
            asked = [names for (file, first, end), names in self.functions.items()
                     if file == mutant.file and first <= mutant.line <= end]
        if not asked:
            asked = [self.objects[target] for target in self.build.objects_of(mutant.file)]
        return set().union(*asked)


def kept_file(program):
    return os.path.join(KEPT, program.name.replace(' ', '_') + '.json')


def known(program, state):
    """What was measured of PROGRAM, if it and the libraries are as they were then."""
    try:
        with open(kept_file(program)) as file:
            data = json.load(file)
    except (FileNotFoundError, json.JSONDecodeError):
        return None
    return data if data['state'] == state else None


def make_counting(build, state, jobs):
    mark = os.path.join(WITH_COUNTS, 'state')
    if os.path.exists(mark) and open(mark).read() == state:
        return
    shutil.rmtree(WITH_COUNTS, ignore_errors=True)
    os.makedirs(WITH_COUNTS)
    with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
        for message in pool.map(lambda t: build.make(t, WITH_COUNTS, coverage=True), build.compile):
            if message:
                sys.exit(message)
    build.link_all(WITH_COUNTS, build.compile, coverage=True)
    with open(mark, 'w') as out:
        out.write(state)


def measured(program, state):
    with tempfile.TemporaryDirectory(dir=BUILD) as scratch:
        counts = os.path.join(scratch, 'counts')
        status, text = program.run(WITH_COUNTS, LONGEST, {'GCOV_PREFIX': counts})
        data = counted(counts) if status == 0 else {'failure': 'takes too long' if status is None else failed_test(text)}
    data.update(state=state, seconds=program.seconds)
    write_whole(kept_file(program), data)
    return data


def measure(build, programs, jobs):
    """Coverage, and the programs that pass when nothing is changed. The others are named with the reason."""
    libraries = digest_of(os.path.join(BUILD, library) for library in CORES)
    make_counting(build, libraries, jobs)
    os.makedirs(KEPT, exist_ok=True)
    states = {program.name: digest_of([program.path]) + libraries for program in programs}
    coverage, passing = Coverage(build), []
    # The longest first.
    with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
        found = pool.map(lambda p: known(p, states[p.name]) or measured(p, states[p.name]), programs[::-1])
        for program, data in zip(programs[::-1], found):
            if 'failure' in data:
                print(f'left out: {program.name} fails without any change: {data["failure"]}', file=sys.stderr, flush=True)
                continue
            program.seconds = data['seconds']
            coverage.add(program.name, data)
            passing.append(program)
    return coverage, passing
