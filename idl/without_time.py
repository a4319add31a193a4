"""without_time.py LIBRARY: takes the time of compiling out of a type library that widl wrote, so that the same sources give
the same bytes."""
import re
import sys
from pathlib import Path

# the time as a text and, as the next custom value, as seconds since 1970 (VT_UI4)
TIMES = re.compile(rb'(Created by WIDL version [0-9.]+ at ).{24}(\nW*\x13\x00).{4}', re.S)

path = Path(sys.argv[1])
library, found = TIMES.subn(rb'\1Thu Jan  1 00:00:00 1970\2\0\0\0\0', path.read_bytes())
if found != 1:
    path.unlink()
    sys.exit(f'{path}: {found} times of compiling where there should be 1')
path.write_bytes(library)
