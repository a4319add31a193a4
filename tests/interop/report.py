"""One line per check, and the count at the end."""

import time


class Report:
    def __init__(self):
        self.passed = 0
        self.failed = 0
        self._since = time.monotonic()

    def check(self, name, good, detail=""):
        """Records a check; `detail` tells what was seen and is printed in both cases."""
        now = time.monotonic()
        took, self._since = now - self._since, now
        if good:
            self.passed += 1
        else:
            self.failed += 1
        suffix = f": {detail}" if detail else ""
        print(f"{'ok  ' if good else 'FAIL'} {name}{suffix} ({took:.1f} s)", flush=True)
        return good

    def close(self):
        """Prints the closing line; true when something was checked and nothing failed."""
        print(f"{self.passed} passed, {self.failed} failed")
        return self.failed == 0 and self.passed > 0
