"""Reads every #include of a tree and tells which ones point the wrong way.

The arrows: platform <- OrviaL3Unicast/plumbing <- OrviaL3Unicast/engine <- the units
<- plugins, agent, tests, benchmarks. A layer may include itself and what stands below it.
"""

import re

import tree

# Each layer: which files belong to it (the first match counts), and which layers it may include.
LAYERS = [
    ("platform", r"platform/", {"platform"}),
    ("plumbing", r"OrviaL3Unicast/plumbing/", {"platform", "plumbing"}),
    ("engine", r"OrviaL3Unicast/engine/", {"platform", "plumbing", "engine"}),
    ("units", r"OrviaL3Unicast/", {"platform", "plumbing", "engine", "units"}),
    ("plugins", r"plugins/", {"platform", "plumbing", "engine", "units", "plugins"}),
    ("agent", r"agent/", {"platform", "plumbing", "engine", "units", "plugins", "agent"}),
    ("examples", r"examples/", {"platform", "plumbing", "engine", "units", "examples"}),
    ("tests", r"tests/", {"platform", "plumbing", "engine", "units", "plugins", "agent", "tests"}),
    ("benchmarks", r"(benchmarks|fuzz)/",
     {"platform", "plumbing", "engine", "units", "plugins", "agent", "tests", "benchmarks"}),
]

LIBRARY = {"plumbing", "engine", "units"}

# The engine's bodies are instantiated by the units; everyone else sees declarations.
ENGINE_BODY = re.compile(r"OrviaL3Unicast/engine/(.*-inl\.h|Instantiate\.h)$")
MAY_INCLUDE_BODIES = {"engine", "units"}

# What the library may take from outside the tree.
STANDARD_HEADERS = set("""
    algorithm any array atomic barrier bit bitset charconv chrono codecvt compare complex concepts
    condition_variable coroutine deque exception execution filesystem format forward_list fstream
    functional future initializer_list iomanip ios iosfwd iostream istream iterator latch limits
    list locale map memory memory_resource mutex new numbers numeric optional ostream queue random
    ranges ratio regex scoped_allocator semaphore set shared_mutex source_location span sstream
    stack stdexcept stop_token streambuf string string_view strstream syncstream system_error
    thread tuple type_traits typeindex typeinfo unordered_map unordered_set utility valarray
    variant vector version
    cassert cctype cerrno cfenv cfloat cinttypes climits clocale cmath csetjmp csignal cstdarg
    cstddef cstdint cstdio cstdlib cstring ctime cuchar cwchar cwctype
""".split())

SOURCE = re.compile(r"\.(h|cpp)$")
INCLUDE = re.compile(r'^\s*#\s*include\s*(?:"([^"]+)"|<([^>]+)>|(\S.*))', re.MULTILINE)
# Literals are matched only so that what looks like a comment inside one is left alone.
COMMENT_OR_LITERAL = re.compile(
    r"""//[^\n]*|/\*.*?\*/|"(?:\\.|[^"\\\n])*"|'(?:\\.|[^'\\\n])'""", re.DOTALL)


def layer_of(name):
    for layer, pattern, _ in LAYERS:
        if re.match(pattern, name):
            return layer
    return None


def includes_of(text):
    """The (quoted, angled, other) triples of a file's #include lines; comments do not count."""
    return INCLUDE.findall(COMMENT_OR_LITERAL.sub(_without_comment, text))


def _without_comment(match):
    text = match.group()
    # A comment leaves its line ends behind, so that what follows keeps its place in a line.
    return "\n" * text.count("\n") if text.startswith("/") else text


def resolve(root, including, target):
    """The file that a quoted or angled include means, relative to the root, or None."""
    candidates = [including.parent / target, root / "platform" / target, root / target,
                  root / "tests" / "support" / target]
    for candidate in candidates:
        if candidate.is_file():
            found = candidate.resolve()
            if found.is_relative_to(root.resolve()):
                return found.relative_to(root.resolve()).as_posix()
    return None


def violations(root=tree.ROOT, files=None):
    """One line of text for each #include that must not be."""
    found = []
    for name in files if files is not None else tree.source_files(root):
        name = name.as_posix()
        layer = layer_of(name)
        if layer is None or not SOURCE.search(name):
            continue
        allowed = next(may for known, _, may in LAYERS if known == layer)
        for quoted, angled, other in includes_of(tree.text_of(root / name) or ""):
            where = f"{name}: #include {other or quoted or angled}"
            if other:
                found.append(f"{where}: write the file name out")
                continue
            target = resolve(root, root / name, quoted or angled)
            if target is None:
                if quoted:
                    found.append(f"{where}: no such file in this tree")
                elif layer in LIBRARY and angled not in STANDARD_HEADERS:
                    found.append(f"{where}: the library needs the standard library only")
                continue
            to = layer_of(target)
            if to not in allowed:
                found.append(f"{where}: {layer} must not include {to or target}")
            elif ENGINE_BODY.search(target) and layer not in MAY_INCLUDE_BODIES:
                found.append(f"{where}: an engine body is for the engine and the units")
            elif layer == "plugins" and to == "plugins":
                if name.split("/")[1] != target.split("/")[1]:
                    found.append(f"{where}: one plug-in must not include another")
    return found
