"""How the build makes objects and libraries, so that one changed source can be made again elsewhere."""
import glob
import hashlib
import json
import os
import re
import shlex
import subprocess

PROJECT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
BUILD = os.path.join(PROJECT, 'build', 'mutate')
AREAS = ('src', 'platform/linux/db')
CORES = {'src/libphotoindex_core.so': 'src/CMakeFiles/photoindex_core.dir/',
         'platform/linux/libkavoplatform_core.so': 'platform/linux/CMakeFiles/kavoplatform_core.dir/',
         'platform/linux/libkavoplatform.so': 'platform/linux/CMakeFiles/kavoplatform_core.dir/'}
# Where programs find the libraries as they stand.
UNCHANGED = ':'.join(sorted({os.path.join(BUILD, os.path.dirname(library)) for library in CORES}))


def output(*command, **options):
    return subprocess.run(command, check=True, capture_output=True, text=True, **options).stdout


def digest_of(paths):
    total = hashlib.sha256()
    for path in paths:
        with open(path, 'rb') as file:
            total.update(path.encode() + b'\0' + hashlib.sha256(file.read()).digest())
    return total.hexdigest()[:16]


def sources(area):
    """The sources and headers below AREA, from PROJECT."""
    return sorted(f for kind in ('cpp', 'h') for f in glob.glob(os.path.join(area, '**', '*.' + kind), root_dir=PROJECT, recursive=True))


class Build:
    def __init__(self):
        with open(os.path.join(BUILD, 'compile_commands.json')) as file:
            commands = json.load(file)
        self.compile = {}  # object, from BUILD -> arguments
        self.source = {}   # object -> source, from PROJECT
        for entry in commands:
            arguments = [a for a in shlex.split(entry['command']) if 'ccache' not in a.lower()]
            arguments = arguments[1:] if arguments[0] == 'env' else arguments
            target = arguments[arguments.index('-o') + 1]
            if target.endswith('.o') and any(target.startswith(folder) for folder in CORES.values()):
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
            elif line and target in self.compile:
                path = os.path.realpath(os.path.join(BUILD, line.strip()))
                inputs.setdefault(target, set()).add(os.path.relpath(path, PROJECT))
        for target, source in self.source.items():
            inputs.setdefault(target, set()).add(source)
        return inputs

    def objects_of(self, file):
        return sorted(target for target, files in self.inputs.items() if file in files)

    def make(self, target, folder, overlay=None, coverage=False):
        """Makes TARGET below FOLDER; with OVERLAY a source or header there is taken before the project's. The messages, or None."""
        arguments = list(self.compile[target])
        made = os.path.join(folder, target)
        os.makedirs(os.path.dirname(made), exist_ok=True)
        arguments[arguments.index('-o') + 1] = made
        for at, argument in enumerate(arguments):
            if argument in ('-MF', '-MT'):
                arguments[at + 1] = made + '.d'
        if overlay:
            source = os.path.join(overlay, self.source[target])
            if os.path.exists(source):
                arguments[arguments.index('-c') + 1] = source
            roots = [os.path.join(overlay, root) for root in ('src', 'platform/linux', 'include')]
            arguments[1:1] = ['-I' + root for root in roots if os.path.isdir(root)]
            arguments += ['-Werror=return-type', '-w']
        if coverage:
            arguments.append('--coverage')
        done = subprocess.run(arguments, cwd=BUILD, capture_output=True, text=True, start_new_session=True)
        return None if done.returncode == 0 else done.stderr or 'the compiler failed'

    def link_all(self, folder, made, coverage=False):
        """Makes the libraries in FOLDER that hold any of the objects MADE there. Whether it could."""
        return all(self._link(library, folder, made, coverage) for library, objects in CORES.items()
                   if any(target.startswith(objects) for target in made))

    def _link(self, library, folder, made, coverage):
        arguments = [os.path.join(folder, a) if a in made else a for a in self.link[library]]
        arguments[arguments.index('-o') + 1] = os.path.join(folder, os.path.basename(library))
        if coverage:
            arguments.append('--coverage')
        done = subprocess.run(arguments, cwd=BUILD, capture_output=True, text=True, start_new_session=True)
        if library.endswith('kavoplatform.so'):
            os.symlink('libkavoplatform.so', os.path.join(folder, 'libkavoplatform.so.1'))
        return done.returncode == 0
