"""Finds the places of the library's sources where a simple mutation applies, and writes sources in
which every mutation can be switched on by its number.

Kinds: "negate" (a condition, or the bool that a function returns), "drop" (a statement), "swap" (two
neighbouring statements), "shift" (a number by one, a comparison by its border), "flip" (== and !=,
&& and ||, ++ and --).
"""

import dataclasses
import pathlib

from clang import cindex
from clang.cindex import CursorKind, TypeKind

COMPARISONS = {"<": "<=", "<=": "<", ">": ">=", ">=": ">"}
FLIPS = {"==": "!=", "!=": "==", "&&": "||", "||": "&&"}
ASSIGNMENTS = {"+=": "-=", "-=": "+="}


@dataclasses.dataclass
class Mutant:
    number: int
    kind: str
    path: str
    line: int
    start: int
    end: int
    text: str  # what stands there, on one line
    becomes: str

    def key(self):
        """Names the mutation as long as the code around it stays: file, kind and text."""
        return f"{self.path}: {self.kind}: {self.text} -> {self.becomes}"


@dataclasses.dataclass
class Edit:
    """Wraps what stands between two offsets: `make(inner)` gives the new text from the text with its
    inner edits."""

    start: int
    end: int
    make: object
    numbers: tuple  # of the mutants it switches


class File:
    def __init__(self, root, path):
        self.path = path
        self.source = (root / path).read_bytes()
        self.mutants = []
        self.edits = []
        self.seen = set()

    def text(self, start, end):
        return self.source[start:end].decode()

    def line_of(self, offset):
        return self.source.count(b"\n", 0, offset) + 1


def is_expression_statement(cursor):
    return cursor.kind.is_expression() or cursor.kind == CursorKind.CXX_DELETE_EXPR


def extent(cursor):
    return cursor.extent.start.offset, cursor.extent.end.offset


def operator_of(cursor):
    """The operator of a binary expression, and where it stands."""
    children = list(cursor.get_children())
    if len(children) != 2:
        return None
    left, right = children
    for token in cursor.get_tokens():
        offset = token.extent.start.offset
        if left.extent.end.offset <= offset < right.extent.start.offset:
            return token.spelling, offset
    return None


def condition_of_for(cursor):
    """The offsets between the two semicolons in the head of a for statement."""
    depth, semicolons = 0, []
    for token in cursor.get_tokens():
        depth += {"(": 1, ")": -1, "{": 1, "}": -1}.get(token.spelling, 0)
        if token.spelling == ";" and depth == 1:
            semicolons.append(token.extent.start.offset)
        if len(semicolons) == 2:
            return range(semicolons[0], semicolons[1])
    return range(0)


class Finder:
    def __init__(self, files):
        self.files = files
        self.count = 0

    def add(self, file, kind, start, end, becomes):
        self.count += 1
        text = " ".join(file.text(start, end).split())
        file.mutants.append(
            Mutant(self.count, kind, file.path, file.line_of(start), start, end, text, becomes))
        return f"orviaMutation::mutant({self.count})"

    def once(self, file, what, start, end):
        key = (what, start, end)
        if key in file.seen or start >= end:
            return False
        file.seen.add(key)
        return True

    def wrap(self, file, start, end, make, *switches):
        numbers = tuple(int("".join(filter(str.isdigit, switch))) for switch in switches)
        file.edits.append(Edit(start, end, make, numbers))

    def negate(self, file, cursor):
        start, end = extent(cursor)
        if not self.once(file, "negate", start, end):
            return
        switch = self.add(file, "negate", start, end, "not so")
        self.wrap(file, start, end,
                  lambda inner: f"({switch} != static_cast<bool>({inner}))", switch)

    def statements(self, file, cursors):
        """A run of expression statements: each may be dropped or change places with the next."""
        spans = [extent(cursor) for cursor in cursors]
        if not self.once(file, "run", spans[0][0], spans[-1][1]):
            return
        texts = [file.text(*span) for span in spans]
        # Two assignments that call nothing are the same either way round.
        swaps = [self.add(file, "swap", spans[i][0], spans[i + 1][1], "the other way round")
                 if "(" in texts[i] + texts[i + 1] else None for i in range(len(spans) - 1)]
        for i, (start, end) in enumerate(spans):
            drop = self.add(file, "drop", start, end, "nothing")
            others = []
            if i + 1 < len(spans) and swaps[i]:
                others.append((swaps[i], texts[i + 1]))
            if i > 0 and swaps[i - 1]:
                others.append((swaps[i - 1], texts[i - 1]))

            def make(inner, drop=drop, others=others):
                result = f"{drop} ? static_cast<void>(0) : "
                for switch, other in others:
                    flat = " ".join(line for line in other.split("\n"))
                    result += f"{switch} ? static_cast<void>({flat}) : "
                return result + f"static_cast<void>({inner})"

            self.wrap(file, start, end, make, drop, *(switch for switch, _ in others))

    def literal(self, file, cursor):
        start, end = extent(cursor)
        text = file.text(start, end)
        digits = text.rstrip("uUlL").replace("'", "")
        if not digits.isdigit() or not self.once(file, "shift", start, end):
            return
        more = str(int(digits) + 1) + text[len(text.rstrip("uUlL")):]
        switch = self.add(file, "shift", start, end, more)
        self.wrap(file, start, end, lambda inner: f"({switch} ? {more} : {text})", switch)

    def binary(self, file, cursor):
        found = operator_of(cursor)
        if found is None:
            return
        operator, at = found
        other = COMPARISONS.get(operator) or FLIPS.get(operator) or ASSIGNMENTS.get(operator)
        start, end = extent(cursor)
        if other is None or not self.once(file, operator, start, end):
            return
        if operator in ("==", "!=") and ("negate", start, end) in file.seen:
            return  # the same mutation
        kind = "shift" if operator in COMPARISONS else "flip"
        changed = file.text(start, at) + other + file.text(at + len(operator), end)
        changed = " ".join(changed.split("\n"))
        switch = self.add(file, kind, start, end, other)
        self.wrap(file, start, end,
                  lambda inner: f"({switch} ? ({changed}) : ({inner}))", switch)

    def unary(self, file, cursor):
        start, end = extent(cursor)
        text = file.text(start, end)
        if text.startswith(("++", "--")):
            other = ("--" if text.startswith("++") else "++") + text[2:]
        elif text.endswith(("++", "--")):
            other = text[:-2] + ("--" if text.endswith("++") else "++")
        else:
            return
        if not self.once(file, "step", start, end):
            return
        switch = self.add(file, "flip", start, end, other)
        self.wrap(file, start, end, lambda inner: f"({switch} ? {other} : {inner})", switch)

    def bare_return(self, file, cursor, parent):
        if list(cursor.get_children()):
            return
        if parent.kind == CursorKind.IF_STMT and len(list(parent.get_children())) > 2:
            return
        start, end = extent(cursor)
        if not self.once(file, "return", start, end):
            return
        switch = self.add(file, "drop", start, end, "nothing")
        self.wrap(file, start, end, lambda inner: f"if (!{switch}) {inner}", switch)

    def visit(self, cursor, parent, in_function):
        location = cursor.location.file
        if cursor.kind == CursorKind.TRANSLATION_UNIT:
            for child in cursor.get_children():
                name = child.location.file.name if child.location.file else ""
                if name.removeprefix("./") in self.files:
                    self.visit(child, cursor, False)
            return
        file = self.files.get(location.name.removeprefix("./")) if location else None
        kind = cursor.kind
        if kind in (CursorKind.INIT_LIST_EXPR, CursorKind.STATIC_ASSERT, CursorKind.ENUM_DECL):
            return
        children = list(cursor.get_children())
        if file is not None and in_function:
            self.here(file, cursor, parent, children)
        if kind in (CursorKind.FUNCTION_DECL, CursorKind.CXX_METHOD, CursorKind.CONSTRUCTOR,
                    CursorKind.DESTRUCTOR, CursorKind.FUNCTION_TEMPLATE,
                    CursorKind.CONVERSION_FUNCTION):
            for child in children:
                # A function that is defaulted has a body without braces.
                if child.kind == CursorKind.CXX_TRY_STMT or (
                        child.kind == CursorKind.COMPOUND_STMT and self.is_written(child)):
                    self.visit(child, cursor, True)
            return
        for child in children:
            self.visit(child, cursor, in_function)

    def is_written(self, cursor):
        file = self.files.get(cursor.location.file.name.removeprefix("./"))
        return file is not None and file.source[cursor.extent.start.offset:][:1] == b"{"

    def here(self, file, cursor, parent, children):
        kind = cursor.kind
        if kind == CursorKind.COMPOUND_STMT:
            run = []
            for child in children + [None]:
                if child is not None and is_expression_statement(child):
                    run.append(child)
                    continue
                if run:
                    self.statements(file, run)
                run = []
        elif kind in (CursorKind.IF_STMT, CursorKind.WHILE_STMT, CursorKind.FOR_STMT):
            if "constexpr" in file.text(extent(cursor)[0], extent(cursor)[0] + 14):
                return
            condition = condition_of_for(cursor) if kind == CursorKind.FOR_STMT else None
            for i, child in enumerate(children):
                is_body = child.kind == CursorKind.COMPOUND_STMT or i == len(children) - 1
                if condition is not None and not is_body and child.extent.start.offset not in condition:
                    continue  # what it starts with, and what it does after each turn
                if kind == CursorKind.IF_STMT:
                    is_body = i > 0 and children[0].kind not in (
                        CursorKind.DECL_STMT, CursorKind.VAR_DECL) or i > 1
                if not is_body and is_expression_statement(child):
                    self.negate(file, child)
                elif is_body and is_expression_statement(child):
                    self.statements(file, [child])
        elif kind == CursorKind.CONDITIONAL_OPERATOR and children:
            self.negate(file, children[0])
        elif kind == CursorKind.RETURN_STMT:
            if children and children[0].type.get_canonical().kind == TypeKind.BOOL:
                self.negate(file, children[0])
            self.bare_return(file, cursor, parent)
        elif kind == CursorKind.INTEGER_LITERAL:
            self.literal(file, cursor)
        elif kind in (CursorKind.BINARY_OPERATOR, CursorKind.COMPOUND_ASSIGNMENT_OPERATOR,
                      CursorKind.CALL_EXPR):
            self.binary(file, cursor)
        elif kind == CursorKind.UNARY_OPERATOR:
            self.unary(file, cursor)


def find(root, units, paths):
    """The files, with their mutants, of the given paths as the units see them."""
    files = {path: File(root, path) for path in paths}
    finder = Finder(files)
    index = cindex.Index.create()
    arguments = ["-x", "c++", "-std=c++20", "-I.", "-Iplatform"]
    for unit in units:
        parsed = index.parse(unit, args=arguments)
        errors = [d for d in parsed.diagnostics if d.severity >= cindex.Diagnostic.Error]
        if errors:
            raise SystemExit(f"mutate: {errors[0]}")
        finder.visit(parsed.cursor, None, False)
    return files


def rendered(file, left_out):
    """The source with its switches. `left_out` are the numbers of mutants that do not compile."""
    source = file.source.decode()
    order = sorted(file.edits, key=lambda edit: (edit.start, -edit.end))

    def render(start, end, edits):
        result, at, i = "", start, 0
        while i < len(edits):
            edit = edits[i]
            j = i + 1
            while j < len(edits) and edits[j].start < edit.end:
                j += 1
            inner = [e for e in edits[i + 1:j] if e.end <= edit.end]
            result += source[at:edit.start]
            text = render(edit.start, edit.end, inner)
            result += text if left_out.issuperset(edit.numbers) else edit.make(text)
            at = edit.end
            i = j
        return result + source[at:end]

    text = render(0, len(source), order)
    for number in left_out:
        text = text.replace(f"orviaMutation::mutant({number})", "false")
    lines = text.split("\n")
    where = next(i for i, line in enumerate(lines) if line.startswith("#include"))
    lines[where] = '#include "OrviaL3Unicast/Mutant.h"\n' + lines[where]
    return "\n".join(lines)


def targets(root):
    """What is mutated: the tables and their engine, without what only describes them."""
    left_out = ("Reflect", "ModuleTypes", "TableTraits", "Instantiate", "WriteSignatures")
    found = []
    for folder in ("OrviaL3Unicast", "OrviaL3Unicast/engine"):
        for path in sorted((root / folder).iterdir()):
            if path.suffix in (".h", ".cpp") and not any(word in path.name for word in left_out):
                found.append(str(path.relative_to(root)))
    return found


def units(root):
    return [str(p.relative_to(root)) for p in sorted(pathlib.Path(root).glob("OrviaL3Unicast/*.cpp"))]
