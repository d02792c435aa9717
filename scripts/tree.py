"""Where the sources stand, for the checks."""
import re
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
# The folders of the library, as the build knows them, and those beside it.
LIBRARY = re.search(r"set\(BRINDLE_FOLDERS ([^)]*)\)",
                    (ROOT / "CMakeLists.txt").read_text())[1].split()
BESIDE = ["sim", "tests", "bench"]


def files(folders, endings=(".h", ".cpp")):
    """The sources of some folders, in order."""
    return [path for folder in folders for path in sorted((ROOT / folder).glob("**/*"))
            if path.suffix in endings]
