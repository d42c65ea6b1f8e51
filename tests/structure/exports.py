"""What a shared object of this tree offers to others: a sorted, demangled list of its symbols.

The list has to be the same with every compiler and every set of flags, so it holds
- every strong symbol that the object defines, but for the standard library's;
- of the weak ones, virtual tables and type information in the object's own namespaces, and the
  members of its own class templates, which are instantiated explicitly. Any other weak symbol is an
  inline function or a template of somebody else that one compiler emits and the next one inlines.
"""

import re
import subprocess

# The namespaces that a shared object is the home of.
NAMESPACES = {
    "libOrviaL3Unicast.so": ["OrviaL3Unicast"],
    "libOrviaPlatform.so": ["Vek", "Asic", "OrviaAsicUtils", "Fendrel", "Brastel", "Loader",
                            "Plugin", "Mosk"],
    "libOrviaSoftAsic.so": ["SoftAsic"],
}

# nm's letters: T text, B D R S data; V and W are the weak ones. A unique object ("u") is what g++
# makes of some weak ones.
STRONG = set("TBDRS")
WEAK = set("VW")

# What linkers, sanitizers, coverage runtimes and the standard library's headers add to an object.
NOT_OURS = re.compile(
    r"_ZN?K?S|_init$|_fini$|_end$|_edata$|__bss_start$|__start_|__stop_"
    r"|__odr_asan|__asan|__gcov|mangle_path$")

# _ZTS is the name that goes with each _ZTI; thunks and construction tables follow virtual tables.
COMPANION = re.compile(r"_Z(TS|Th|Tv|Tc|TC|TT|GV)")


def wanted(letter, name, namespaces):
    if NOT_OURS.match(name) or COMPANION.match(name):
        return False
    if letter in STRONG:
        return True
    if letter not in WEAK:
        return False
    home = "|".join(f"{len(namespace)}{namespace}" for namespace in namespaces)
    # A virtual table or type information: _ZTVN3Vek...
    if re.match(rf"_ZT[VI]N({home})", name):
        return True
    # A member function: its outermost class is a template when an argument list follows the name,
    # _ZN3Vek<length><name>I...
    match = re.match(rf"_ZN[KVr]*[RO]?({home})(\d+)", name)
    return bool(match) and name[match.end() + int(match.group(2)):].startswith("I")


def parse(listing, namespaces):
    """The mangled names to pin, from the output of nm."""
    symbols = set()
    for line in listing.splitlines():
        _, letter, name = line.rsplit(" ", 2)
        name = name.split("@")[0]
        if wanted(letter, name, namespaces):
            symbols.add(name)
    return symbols


def exports(library):
    listing = subprocess.run(["nm", "--dynamic", "--defined-only", str(library)],
                             capture_output=True, text=True, check=True).stdout
    names = "\n".join(parse(listing, NAMESPACES[library.name])) + "\n"
    demangled = subprocess.run(["c++filt"], input=names, capture_output=True, text=True,
                               check=True).stdout
    # The variants of one constructor or destructor share a line.
    return sorted({line for line in demangled.splitlines() if line})
