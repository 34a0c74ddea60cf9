#!/usr/bin/env python3
"""The fault sampler and runner behind scripts/mutate.sh (usage: see there).

A fault is one changed line of src/. The candidates are found by a small
C++ tokenizer (comments and literals understood, one line at a time); a
sample draws lines of code at random, so every file weighs its lines, then
one operator that applies to the line, then one of its faults. Each fault
is written into a scratch copy of the tree, built with the sanitizers and
tested with ctest; the file is restored before the next one.
"""

import argparse
import datetime
import os
import random
import re
import signal
import subprocess
import sys
from collections import Counter

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
EQUIVALENT_LIST = 'tests/equivalent-mutants.tsv'
HAND_LIST = 'tests/mutants.tsv'
# What only the running executable reaches (its workers' parent, the FastCGI
# loop): a fault there runs the end-to-end tests too, which the others skip
# for their time.
END_TO_END_FILES = {'src/frame/workers.cc', 'src/frame/main.cc'}

# --- the tokenizer ---------------------------------------------------------

TOKEN = re.compile(r'''
    (?P<ws>\s+)
  | (?P<comment>//.*)
  | (?P<block>/\*.*?(?:\*/|$))
  | (?P<str>"(?:[^"\\]|\\.)*")
  | (?P<chr>'(?:[^'\\]|\\.)*')
  | (?P<num>\.?\d(?:[eEpP][+-]|[\w.'])*)
  | (?P<id>[A-Za-z_]\w*)
  | (?P<op>>>=|<<=|->\*|\.\.\.|::|->|\+\+|--|<<|>>|<=|>=|==|!=|&&|\|\||[-+*/%&|^]=|.)
''', re.X)


class Tok:
    __slots__ = ('kind', 'text', 'start', 'end')

    def __init__(self, kind, text, start, end):
        self.kind, self.text, self.start, self.end = kind, text, start, end


def tokenize(line, in_comment):
    """The tokens of a line outside comments, and whether a block comment
    is still open at its end."""
    tokens, pos = [], 0
    if in_comment:
        close = line.find('*/')
        if close < 0:
            return tokens, True
        pos = close + 2
    while pos < len(line):
        m = TOKEN.match(line, pos)
        kind = m.lastgroup
        if kind == 'block' and not m.group().endswith('*/'):
            return tokens, True
        if kind not in ('ws', 'comment', 'block'):
            tokens.append(Tok(kind, m.group(), m.start(), m.end()))
        pos = m.end()
    return tokens, False


def matching(tokens, i):
    """The index of the bracket closing tokens[i] on the same line, or None."""
    pairs = {'(': ')', '[': ']', '{': '}'}
    depth = 0
    for j in range(i, len(tokens)):
        t = tokens[j].text
        if t in pairs:
            depth += 1
        elif t in pairs.values():
            depth -= 1
            if depth == 0:
                return j
    return None


def balanced(tokens):
    depth = 0
    for t in tokens:
        depth += t.text in '([{' and t.kind == 'op'
        depth -= t.text in ')]}' and t.kind == 'op'
        if depth < 0:
            return False
    return depth == 0


def spaced(line, tok):
    """Whether an operator has a space on each side: in this tree's layout a
    relational < or > and a logical && always do, a template bracket or an
    rvalue reference never."""
    return line[tok.start - 1:tok.start] == ' ' and line[tok.end:tok.end + 1] == ' '


# --- the operators ---------------------------------------------------------
# Each takes a line (its text, tokens and context) and yields mutated texts.

KEYWORDS_NOT_CALLS = {'if', 'while', 'for', 'switch', 'return', 'sizeof', 'alignof',
                      'decltype', 'catch', 'noexcept', 'static_assert', 'operator'}
NOT_STATEMENTS = {'if', 'else', 'for', 'while', 'do', 'switch', 'case', 'default', 'break',
                  'continue', 'goto', 'using', 'typedef', 'namespace', 'template', 'struct',
                  'class', 'enum', 'union', 'friend', 'static_assert', 'public', 'private',
                  'protected', 'extern', 'decltype'}
# Calls that give the same with their arguments in either order; the
# comparisons only when their result is tested against 0.
SYMMETRIC = {'swap', 'max', 'min'}
COMPARISONS = {'strcmp', 'strncmp', 'strcasecmp', 'strncasecmp', 'memcmp'}
DECLARATION = re.compile(
    r'^(?:(?:const|static|constexpr|inline|unsigned|struct|mutable|virtual|explicit)\s+)*'
    r'[A-Za-z_][\w:]*(?:<.*>)?[\s*&]+[A-Za-z_]\w*$')
# A printf, strftime or SQLite conversion: changed, it would read another
# type than the one passed, a fault the compiler rejects or that is undefined.
PRINTF_SPEC = re.compile(r'%[-+ #0*]*\d*(?:\.(?:\d+|\*))?(?:hh|h|ll|l|z|j|t|L)?[A-Za-z%]')


def replace(line, tok, text):
    return line[:tok.start] + text + line[tok.end:]


def op_boundary(line, tokens, ctx):
    swap = {'<': '<=', '<=': '<', '>': '>=', '>=': '>'}
    for t in tokens:
        if t.text in swap and spaced(line, t):
            yield replace(line, t, swap[t.text])


def unary(tokens):
    """Whether tokens are one operand: a name, member, call or subscript."""
    depth = 0
    for u in tokens:
        depth += u.text in ('(', '[')
        depth -= u.text in (')', ']')
        if depth == 0 and u.kind == 'op' and u.text not in ('.', '->', '::', ')', ']'):
            return False
    return bool(tokens)


def op_condition(line, tokens, ctx):
    swap = {'==': '!=', '!=': '==', '&&': '||', '||': '&&'}
    for i, t in enumerate(tokens):
        if t.text in swap and spaced(line, t):
            yield replace(line, t, swap[t.text])
        elif t.text in ('if', 'while') and i + 1 < len(tokens) and tokens[i + 1].text == '(':
            close = matching(tokens, i + 1)
            if close is None or close == i + 2:
                continue
            a, b = tokens[i + 2].start, tokens[close - 1].end
            if tokens[i + 2].text == '!' and unary(tokens[i + 3:close]):
                yield line[:a] + line[tokens[i + 3].start:]  # !x or !f(y): the ! dropped
            else:
                yield line[:a] + '!(' + line[a:b] + ')' + line[b:]


INTEGER = re.compile(r'^(0[xX][0-9a-fA-F]+|[1-9]\d*|0)([uUlL]*)$')


def op_constant(line, tokens, ctx):
    for i, t in enumerate(tokens):
        m = INTEGER.match(t.text) if t.kind == 'num' else None
        if not m or (t.text == '0' and tokens[i - 1].text == '=' and
                     tokens[i - 2].text in (')', 'const', 'override')):
            continue  # not a number, or the 0 of a pure virtual function
        digits, suffix = m.groups()
        value = int(digits, 0)
        for n in (value + 1, value - 1):
            if n < 0 and 'u' in suffix.lower():
                continue
            if digits[:2].lower() == '0x' and n >= 0:  # hexadecimal kept, in its case
                upper = digits[2:] != digits[2:].lower()
                text = digits[:2] + format(n, 'X' if upper else 'x') + suffix
            else:
                text = str(n) + suffix
            yield replace(line, t, text)


def op_arguments(line, tokens, ctx):
    for i, t in enumerate(tokens[:-1]):
        if t.kind != 'id' or t.text in KEYWORDS_NOT_CALLS or tokens[i + 1].text != '(':
            continue
        close = matching(tokens, i + 1)
        if close is None or t.text in SYMMETRIC or (
                t.text in COMPARISONS and [u.text for u in tokens[close + 1:close + 3]]
                in (['==', '0'], ['!=', '0'])):
            continue  # no call, or one whose arguments may come in either order
        args, start, depth = [], i + 2, 0
        for j in range(i + 2, close + 1):
            u = tokens[j].text
            depth += u in ('(', '[', '{')
            depth -= u in (')', ']', '}') and j != close
            if (u == ',' and depth == 0) or j == close:
                if j > start:
                    args.append((tokens[start].start, tokens[j - 1].end))
                start = j + 1
        texts = [line[a:b] for a, b in args]
        if any(DECLARATION.match(x) for x in texts):
            continue  # a function's parameters, not a call's arguments
        for k in range(len(args) - 1):
            (a1, b1), (a2, b2) = args[k], args[k + 1]
            if texts[k] != texts[k + 1]:
                yield line[:a1] + texts[k + 1] + line[b1:a2] + texts[k] + line[b2:]


def whole_statement(tokens, ctx):
    return (ctx['statement_start'] and tokens[-1].text == ';' and balanced(tokens) and
            tokens[0].text != '}')


def op_statement(line, tokens, ctx):
    if not whole_statement(tokens, ctx):
        return
    first = tokens[0].text
    indent = line[:len(line) - len(line.lstrip())]
    if first == 'return':
        value = line[tokens[1].start:tokens[-2].end] if len(tokens) > 2 else ''
        if value == '':
            yield ''
        elif value in ('true', 'false'):
            yield indent + 'return ' + ('false' if value == 'true' else 'true') + ';'
        elif value not in ('0', 'nullptr', '{}', '""', "'\\0'"):
            yield indent + 'return {};'
        return
    if first in NOT_STATEMENTS or line.lstrip().startswith('(void)'):
        return
    # A declaration names a type and then a variable before any of these.
    stops = {'=', '(', '{', ';', '[', '+=', '-=', '*=', '/=', '|=', '&='}
    end = next(k for k, t in enumerate(tokens) if t.text in stops)
    head = line[tokens[0].start:tokens[end - 1].end] if end else ''
    if DECLARATION.match(head) and first not in ('delete', 'throw'):
        return
    yield ''


def op_check(line, tokens, ctx):
    if not whole_statement(tokens, ctx) or tokens[0].text != 'if' or tokens[1].text != '(':
        return
    close = matching(tokens, 1)
    if close is not None and close + 1 < len(tokens) and \
            tokens[close + 1].text in ('return', 'continue', 'break'):
        yield ''


def op_status(line, tokens, ctx):
    names = ctx['status_names']
    for i, t in enumerate(tokens):
        after = tokens[i + 1].text if i + 1 < len(tokens) else ''
        if t.text in names and after != '=':
            for other in names:
                if other != t.text:
                    yield replace(line, t, other)
        elif t.kind == 'num' and t.text in list('1234567') and i >= 1 and (
                (tokens[i - 1].text == 'return' and after == ';') or
                (i >= 4 and [u.text for u in tokens[i - 4:i]] == ['answer', '::', 'status', '('] and
                 after == ')')):
            for other in '1234567':
                if other != t.text:
                    yield replace(line, t, other)


def changed_char(c):
    if c.isalpha():
        base = ord('a') if c.islower() else ord('A')
        return chr(base + (ord(c) - base + 1) % 26) if c.isascii() else 'x'
    if c.isdigit():
        return str((int(c) + 1) % 10)
    return 'x'


def op_text(line, tokens, ctx):
    for i, t in enumerate(tokens):
        if t.kind not in ('str', 'chr') or (i and tokens[i - 1].text in ('extern', 'sizeof')):
            continue  # not a literal, a linkage name, or one only its size is read of
        body = t.text[1:-1]
        protected = set()
        for m in PRINTF_SPEC.finditer(body) if t.kind == 'str' else ():
            protected.update(range(m.start(), m.end()))
        k = 0
        while k < len(body):
            if body[k] == '\\':
                k += 2
                continue
            if k not in protected:
                pos = t.start + 1 + k
                yield line[:pos] + changed_char(body[k]) + line[pos + 1:]
            k += 1


OPERATORS = {
    'boundary': op_boundary,    # < <= > >= moved to the neighbouring one
    'condition': op_condition,  # == != swapped, && || swapped, an if/while negated
    'constant': op_constant,    # an integer literal one more or one less
    'arguments': op_arguments,  # two neighbouring arguments of a call swapped
    'statement': op_statement,  # a statement line deleted; a returned value replaced
    'check': op_check,          # an `if (...) return/continue/break;` line deleted
    'status': op_status,        # a status code replaced by another
    'text': op_text,            # a character of a string or character literal changed
}

# --- candidates and the sample ---------------------------------------------


class Fault:
    def __init__(self, path, lineno, op, original, mutated):
        self.path, self.lineno, self.op = path, lineno, op
        self.original, self.mutated = original, mutated

    def key(self):
        return (self.path, self.original.strip(), self.mutated.strip())

    def where(self):
        return f'{self.path}:{self.lineno} [{self.op}]'

    def shown(self):
        return self.mutated.strip() or f'(line removed: {self.original.strip()})'


def source_files():
    listed = subprocess.run(['git', 'ls-files', '-co', '--exclude-standard', 'src'], cwd=ROOT,
                            check=True, capture_output=True, text=True).stdout.split()
    return sorted(p for p in listed if p.endswith(('.cc', '.h')))


def status_names():
    text = open(os.path.join(ROOT, 'src/io/answer.h')).read()
    return [m.group(1) for m in re.finditer(r'\b(kStatus\w+)\s*=\s*\d', text)]


def candidate_lines():
    """Every line of code with the faults each operator makes of it:
    [(path, lineno, text, {operator: [mutated text, ...]})]."""
    names = status_names()
    found = []
    for path in source_files():
        lines = open(os.path.join(ROOT, path)).read().split('\n')
        in_comment, previous = False, None  # previous: tokens of the last code line
        for lineno, text in enumerate(lines, 1):
            tokens, in_comment = tokenize(text, in_comment)
            if not tokens or tokens[0].text == '#':
                continue  # blank, comment, include or other preprocessor line
            label = previous and previous[0].text in ('case', 'default', 'public', 'private',
                                                      'protected')
            ctx = {'status_names': names,
                   'statement_start': previous is None or previous[-1].text in (';', '{', '}') or
                                      bool(label and previous[-1].text == ':')}
            faults = {}
            for name, op in OPERATORS.items():
                mutated = list(dict.fromkeys(m for m in op(text, tokens, ctx) if m != text))
                if mutated:
                    faults[name] = mutated
            previous = tokens
            if faults:
                found.append((path, lineno, text, faults))
    return found


def draw(seed, size):
    """The sample: lines drawn at random among the lines of code that have
    faults, then an operator, then one of its faults."""
    lines = candidate_lines()
    rng = random.Random(seed)
    picked = sorted(rng.sample(range(len(lines)), min(size, len(lines))))
    sample = []
    for index in picked:
        path, lineno, text, faults = lines[index]
        op = rng.choice(sorted(faults))
        sample.append(Fault(path, lineno, op, text, rng.choice(faults[op])))
    return sample


def equivalent_faults():
    """{(file, original line, mutated line): reason} from the data file; an
    empty mutated field is a line removed."""
    known = {}
    for row in open(os.path.join(ROOT, EQUIVALENT_LIST)):
        row = row.rstrip('\n')
        if not row or row.startswith('#'):
            continue
        fields = row.split('\t')
        if len(fields) != 4:
            sys.exit(f'mutate: {EQUIVALENT_LIST}: not four tab-separated fields: {row}')
        path, original, mutated, reason = fields
        known[(path, original.strip(), mutated.strip())] = reason
    return known


def stale_equivalents(known):
    """Entries whose original line the tree no longer has."""
    stale = []
    for path, original, _ in known:
        full = os.path.join(ROOT, path)
        lines = open(full).read().split('\n') if os.path.exists(full) else []
        if original not in (x.strip() for x in lines):
            stale.append((path, original))
    return stale


# --- building and testing in the scratch copy --------------------------------


class Scratch:
    def __init__(self, directory, timeout):
        self.tree = os.path.join(directory, 'tree')
        self.build = os.path.join(directory, 'build')
        self.logs = os.path.join(directory, 'logs')
        self.log = os.path.join(self.logs, 'setup.log')
        self.timeout = timeout
        self.tests = {}  # tests run without a fault, with and without the end-to-end ones
        self.env = dict(os.environ, ASAN_OPTIONS='detect_leaks=1:abort_on_error=1',
                        UBSAN_OPTIONS='print_stacktrace=1:halt_on_error=1',
                        CCACHE_DIR=os.path.join(directory, 'ccache'))

    def sync(self):
        """Copies the working tree (tracked and untracked, not ignored) into
        the scratch tree, rewriting only files that differ so the scratch
        build stays incremental across runs."""
        os.makedirs(self.logs, exist_ok=True)
        for old in os.listdir(self.logs):
            os.remove(os.path.join(self.logs, old))
        listed = subprocess.run(['git', 'ls-files', '-co', '--exclude-standard'], cwd=ROOT,
                                check=True, capture_output=True, text=True).stdout.split('\n')
        listed = {p for p in listed if p and os.path.isfile(os.path.join(ROOT, p))}
        for path in listed:
            source, copy = os.path.join(ROOT, path), os.path.join(self.tree, path)
            data = open(source, 'rb').read()
            if not os.path.exists(copy) or open(copy, 'rb').read() != data:
                os.makedirs(os.path.dirname(copy), exist_ok=True)
                open(copy, 'wb').write(data)
                os.chmod(copy, os.stat(source).st_mode & 0o777)
        for directory, _, files in os.walk(self.tree):
            for name in files:
                full = os.path.join(directory, name)
                if os.path.relpath(full, self.tree) not in listed:
                    os.remove(full)
        launcher = ['-DCMAKE_CXX_COMPILER_LAUNCHER=ccache', '-DCMAKE_C_COMPILER_LAUNCHER=ccache']
        # Tests are listed when ctest runs, so a fault that crashes the test
        # binary on start-up fails the tests rather than the build.
        # --fresh: a cached default of an older tree (a path, a switch) must
        # not outlive the tree that changed it.
        self.run(['cmake', '--fresh', '-S', self.tree, '-B', self.build, '-DCMAKE_BUILD_TYPE=Debug',
                  '-DPSIA_SANITIZE=ON', '-DCMAKE_GTEST_DISCOVER_TESTS_DISCOVERY_MODE=PRE_TEST'] +
                 (launcher if subprocess.run(['which', 'ccache'], capture_output=True).returncode
                  == 0 else []), None, check=True)

    def run(self, command, timeout, check=False, cwd=None):
        """Runs a command in its own process group, its output added to the
        log; returns its exit status, or None when it ran out of time."""
        with open(self.log, 'a') as log:
            process = subprocess.Popen(command, cwd=cwd, env=self.env, stdout=log,
                                       stderr=subprocess.STDOUT, start_new_session=True)
            try:
                rc = process.wait(timeout=timeout)
            except subprocess.TimeoutExpired:
                os.killpg(process.pid, signal.SIGKILL)
                process.wait()
                return None
        if check and rc != 0:
            sys.exit(f'mutate: {" ".join(command)} failed (see {self.log})')
        return rc

    def suite(self, log, end_to_end=False):
        """'compile' when the build fails, 'fail' when a test fails or time
        runs out (or fewer tests run than without a fault), else 'pass'.
        The end-to-end tests run only when `end_to_end` is set. The output
        goes to logs/`log`.log."""
        self.log = os.path.join(self.logs, f'{log}.log')
        open(self.log, 'w').close()
        if self.run(['cmake', '--build', self.build, '-j2'], 3600) != 0:
            return 'compile'
        # The first failing test decides: a caught fault costs its build and
        # one failure, not the whole suite.
        skip = [] if end_to_end else ['-E', '^EndToEnd']
        rc = self.run(['ctest', '-j2', '--stop-on-failure'] + skip, self.timeout, cwd=self.build)
        if rc is None:
            return 'fail'
        m = re.search(r'tests failed out of (\d+)', open(self.log).read())
        count = int(m.group(1)) if m else 0
        expected = self.tests.setdefault(end_to_end, count)
        return 'pass' if rc == 0 and count == expected else 'fail'

    def with_fault(self, path, change, log):
        """Runs the suite with `change` (text -> text, or None when it does
        not apply) made to one file; the file is restored afterwards."""
        full = os.path.join(self.tree, path)
        pristine = open(full).read()
        changed = change(pristine)
        if changed is None:
            return 'stale'
        try:
            open(full, 'w').write(changed)
            return self.suite(log, path in END_TO_END_FILES)
        finally:
            open(full, 'w').write(pristine)


def apply_line(fault):
    def change(text):
        lines = text.split('\n')
        if lines[fault.lineno - 1] != fault.original:
            return None
        if fault.mutated == '':
            del lines[fault.lineno - 1]
        else:
            lines[fault.lineno - 1] = fault.mutated
        return '\n'.join(lines)
    return change


def unescape(text):  # \n, \t and \\ in tests/mutants.tsv
    return re.sub(r'\\(.)', lambda m: {'n': '\n', 't': '\t'}.get(m.group(1), m.group(1)), text)


def hand_list(pattern):
    faults = []
    for row in open(os.path.join(ROOT, HAND_LIST)):
        row = row.rstrip('\n')
        if not row or row.startswith('#'):
            continue
        path, original, replacement, what = row.split('\t')
        if re.search(pattern, f'{path}: {what}'):
            faults.append((path, unescape(original), unescape(replacement), what))
    return faults


def run_faults(scratch, faults):
    """Runs [(label, file, change, reason)] (reason set for an equivalent
    fault, which is not run) and prints a line for each; returns the count
    of each outcome and the indexes of the faults that escaped."""
    scratch.sync()
    if scratch.suite('no-fault') != 'pass' or (
            any(path in END_TO_END_FILES for _, path, _, _ in faults) and
            scratch.suite('no-fault-end-to-end', True) != 'pass'):
        sys.exit(f'mutate: the suite fails without any fault (see {scratch.log})')
    outcome = {'pass': 'ESCAPED', 'fail': 'caught', 'compile': 'does-not-compile',
               'stale': 'stale'}
    counts, escaped = Counter(), []
    for n, (label, path, change, reason) in enumerate(faults, 1):
        state = 'equivalent' if reason else outcome[scratch.with_fault(path, change, f'{n:03}')]
        counts[state] += 1
        if state == 'ESCAPED':
            escaped.append(n - 1)
        print(f'{state:16} {label}' + (f'  ({reason})' if reason else ''), flush=True)
    scratch.suite('no-fault')  # leaves the scratch build without a fault
    print()
    return counts, escaped


def summary(counts, what):
    judged = counts['caught'] + counts['ESCAPED']
    score = f'{100 * counts["caught"] // judged}%' if judged else 'n/a'
    print(f'{datetime.date.today()} scripts/mutate.sh {what}: {counts["caught"]} of {judged} '
          f'non-equivalent faults caught ({score})')


def run_sample(args, scratch):
    known = equivalent_faults()
    sample = draw(args.seed, args.sample)
    counts, escaped = run_faults(scratch, [(f'{f.where()} {f.shown()}', f.path, apply_line(f),
                                            known.get(f.key())) for f in sample])
    summary(counts, f'--seed {args.seed} --sample {args.sample}')
    print(f'  {counts["equivalent"]} equivalent ({EQUIVALENT_LIST}), '
          f'{counts["does-not-compile"]} did not compile' +
          (f', {counts["stale"]} no longer matched the tree' if counts['stale'] else '') +
          f'; the output of each fault is in {scratch.logs}/')
    for fault in (sample[i] for i in escaped):
        print(f'  escaped: {fault.where()}\n      was: {fault.original.strip()}\n'
              f'      now: {fault.mutated.strip() or "(line removed)"}')
    if escaped:
        print(f'  Each wants a test that catches it or, when no input can reveal it, a line in '
              f'{EQUIVALENT_LIST}.')
    report_stale(known)


def report_stale(known):
    stale = stale_equivalents(known)
    if stale:
        print(f'  {len(stale)} entries of {EQUIVALENT_LIST} name lines the tree no longer has:')
        for path, original in stale:
            print(f'    {path}: {original}')


def list_sample(args):
    known = equivalent_faults()
    sample = draw(args.seed, args.sample)
    for fault in sample:
        mark = '  (equivalent)' if fault.key() in known else ''
        print(f'{fault.where()} {fault.shown()}{mark}')
    print()
    print(f'{len(sample)} faults, seed {args.seed}')
    print('  by operator: ' + ', '.join(f'{op} {n}' for op, n in
                                         sorted(Counter(f.op for f in sample).items())))
    print('  by directory: ' + ', '.join(
        f'{d} {n}' for d, n in sorted(Counter(os.path.dirname(f.path) for f in sample).items())))
    report_stale(known)


def run_hand_list(args, scratch):
    faults = []
    for path, original, replacement, what in hand_list(args.filter):
        def change(text, original=original, replacement=replacement):
            return text.replace(original, replacement) if text.count(original) == 1 else None
        faults.append((f'{path}: {what}', path, change, None))
    counts, escaped = run_faults(scratch, faults)
    summary(counts, '--tsv')
    if counts['stale'] or counts['does-not-compile']:
        print(f'  {counts["stale"]} name text the tree no longer has, '
              f'{counts["does-not-compile"]} do not compile: update {HAND_LIST}')
    for i in escaped:
        print(f'  escaped: {faults[i][0]}')


def main():
    parser = argparse.ArgumentParser(prog='scripts/mutate.sh',
                                     description='Seeded random one-line faults over src/, '
                                                 'and the share the test suite catches.')
    parser.add_argument('--seed', type=int, default=1, help='the sample\'s seed (1)')
    parser.add_argument('--sample', type=int, default=100, help='faults drawn (100)')
    parser.add_argument('--list', action='store_true', help='print the sample, run nothing')
    parser.add_argument('--tsv', action='store_true',
                        help=f'replay the hand-written faults of {HAND_LIST} instead')
    parser.add_argument('--filter', default='.',
                        help='with --tsv: only the faults whose "file: what" matches')
    parser.add_argument('--scratch', default='/tmp/psia-mutate',
                        help='the scratch tree, build and compiler cache (/tmp/psia-mutate)')
    parser.add_argument('--timeout', type=int, default=300,
                        help='seconds ctest may take with one fault (300)')
    args = parser.parse_args()
    signal.signal(signal.SIGPIPE, signal.SIG_DFL)  # --list piped into head
    if args.list:
        list_sample(args)
        return
    scratch = Scratch(args.scratch, args.timeout)
    run_hand_list(args, scratch) if args.tsv else run_sample(args, scratch)


if __name__ == '__main__':
    main()
