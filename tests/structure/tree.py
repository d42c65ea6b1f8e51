"""The files of the source tree, for the checks beside this file."""

import pathlib
import subprocess

ROOT = pathlib.Path(__file__).resolve().parents[2]

# What is never a source when the tree is no git work tree (an unpacked release, say).
NOT_SOURCES = {".git", "build"}


def source_files(root=ROOT):
    """Every source, as a path relative to the root: what git tracks or would track."""
    listing = subprocess.run(
        ["git", "-C", str(root), "ls-files", "-z", "--cached", "--others", "--exclude-standard"],
        capture_output=True, check=False)
    if listing.returncode == 0 and (root / ".git").exists():
        names = [pathlib.Path(name) for name in listing.stdout.decode().split("\0") if name]
    else:
        names = [path.relative_to(root) for path in root.rglob("*")]
        names = [name for name in names if name.parts[0] not in NOT_SOURCES]
    # A file that was deleted but is still tracked has nothing to check.
    return sorted(name for name in names if (root / name).is_file())


def text_of(path):
    """The text of a file, or None where it is binary."""
    data = path.read_bytes()
    if b"\0" in data:
        return None
    return data.decode("utf-8", errors="replace")
