"""Folders that ./dev package makes and removes: all are below build/package."""
import pathlib
import shutil

TREE = pathlib.Path(__file__).resolve().parents[1]
WORK = TREE / "build/package"
PACKAGES = TREE / "build/packages"


def emptied(name):
    """The folder build/package/NAME, empty."""
    folder = WORK / name
    remove(folder)
    folder.mkdir(parents=True)
    return folder


def remove(folder):
    """Removes a folder below build/package recursively, unless something is mounted in it."""
    folder = pathlib.Path(folder)
    assert WORK in folder.resolve().parents and not folder.is_symlink(), f"{folder} isn't below {WORK}"
    mounts = [line.split()[4] for line in pathlib.Path("/proc/self/mountinfo").read_text().splitlines()]
    assert not any(pathlib.Path(mount).is_relative_to(folder.resolve()) for mount in mounts), f"mounted in {folder}"
    if folder.exists():
        shutil.rmtree(folder)
