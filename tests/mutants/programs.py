"""The test programs, as scripts/mutate runs them."""
import glob
import os
import re
import shutil
import signal
import subprocess
import tempfile
import threading
import time

from build import BUILD

LONGEST = 600          # seconds that a program may take when nothing is changed
PATIENCE = 20          # a changed program may take this many times as long, and half as often of the processor's time
SLOWEST = 60           # or so many seconds: a machine that is busy makes a quick program slow
SLOWEST_AT_WORK = 15   # and so many of the processor's
MEMORY = 6 << 30       # bytes of address space: a changed loop must not take the machine's memory
GROUPS = ('unit', 'platform', 'integration')


class Stopped(Exception):
    """Somebody asked for the end of the run."""


class Running:
    """The programs that run now, so that a stop can end them."""

    def __init__(self):
        self.lock, self.groups, self.stopped = threading.Lock(), set(), False

    def add(self, pid):
        with self.lock:
            self.groups.add(pid)
        if self.stopped:
            self._end(pid)

    def remove(self, pid):
        with self.lock:
            self.groups.discard(pid)
        self._end(pid)

    def stop(self):
        self.stopped = True
        for pid in list(self.groups):
            self._end(pid)

    @staticmethod
    def _end(pid):
        try:
            os.killpg(pid, signal.SIGKILL)
        except ProcessLookupError:
            pass


RUNNING = Running()


class Program:
    """A test program, or the half of it that needs the server."""
    server = threading.Lock()  # tests on it share one database

    def __init__(self, path, name, tests=None, with_server=False):
        self.path, self.name, self.tests, self.with_server = path, name, tests, with_server
        self.seconds = 0.0

    def run(self, libraries, limit, environment=None):
        """(exit status, its output); the status is None when it took longer than LIMIT seconds, or its share of the processor's."""
        # Below the folder of scripts/server.sh: open to a server of the test's own, and a short path for its socket.
        home = tempfile.mkdtemp()
        os.chmod(home, 0o1777)
        settings = dict(os.environ, LD_LIBRARY_PATH=libraries, XDG_STATE_HOME=home, TMPDIR=home, GTEST_FAIL_FAST='1',
                        GTEST_BRIEF='1', LC_ALL='C.UTF-8', **(environment or {}))
        if self.tests:
            settings['GTEST_FILTER'] = self.tests
        try:
            with self.server if self.with_server else threading.Lock():
                return self._finish(home, settings, limit)
        finally:
            subprocess.run(['chmod', '-R', 'u+rwx', home], capture_output=True)
            shutil.rmtree(home, ignore_errors=True)

    def _finish(self, home, settings, limit):
        if RUNNING.stopped:
            raise Stopped
        log = os.path.join(home, '.output')
        with open(log, 'wb') as out:
            at_work = round(max(SLOWEST_AT_WORK, limit / 2))
            command = ['prlimit', f'--as={MEMORY}', f'--cpu={at_work}', '--core=0', self.path]
            started = time.monotonic()
            process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=out, stderr=out, env=settings, cwd=home,
                                       start_new_session=True)
        RUNNING.add(process.pid)
        try:
            status = process.wait(limit)
        except subprocess.TimeoutExpired:
            status = None
        finally:
            RUNNING.remove(process.pid)
            process.wait()
            self.seconds = self.seconds or time.monotonic() - started
        if RUNNING.stopped:
            raise Stopped
        with open(log, 'rb') as file:
            return None if status == -signal.SIGXCPU else status, file.read().decode(errors='replace')

    def limit(self):
        return max(SLOWEST, PATIENCE * self.seconds)


def failed_test(text):
    """The first test that a program's output TEXT says to have failed, and why, on one line."""
    name = re.search(r'\[  FAILED  \] ([\w/.]+)', text)
    reason = re.search(r'(?:Failure|exception)[^\n]*\n((?:.*\n){1,3})', text)
    told = ' '.join((reason.group(1) if reason else '\n'.join(text.strip().split('\n')[-2:])).split())
    return f'{name.group(1) if name else "?"}: {told[:200]}'


def sharing():
    """The tests, as ctest names them, that share the server's one database."""
    with open(os.path.join(BUILD, 'tests', 'CTestTestfile.cmake')) as file:
        return set(re.findall(r'set_tests_properties\(\W*([\w.]+)[^\n]*RESOURCE_LOCK "postgres"', file.read()))


def test_programs():
    """All of them, the quick groups first."""
    programs, shared = [], sharing()
    for group in GROUPS:
        for path in sorted(glob.glob(os.path.join(BUILD, 'tests', group + '_*'))):
            if not os.access(path, os.X_OK) or not os.path.isfile(path):
                continue
            name = os.path.basename(path)
            if group == 'integration':
                programs.append(Program(path, name, tests='-*Postgres*'))
                programs.append(Program(path, name + ' on the server', tests='*Postgres*', with_server=True))
            else:
                programs.append(Program(path, name, with_server=name.replace('_', '.', 1) in shared))
    return programs
