"""Findings of a judge: counted by category, the first few of each printed."""

import sys


class Report:
    def __init__(self, limit=8):
        self.limit = limit
        self.findings = {}
        self.notes = []
        self._seen = set()

    def add(self, category, text, key=None):
        """A finding. One with a key that was there before is only counted as the same."""
        if key is not None:
            if (category, key) in self._seen:
                return
            self._seen.add((category, key))
        self.findings.setdefault(category, []).append(text)

    def note(self, text):
        """Something worth knowing that is no fault."""
        self.notes.append(text)

    def print(self, counts):
        """Prints all, with a last line of what was looked at. The result is the exit status."""
        for category, texts in self.findings.items():
            print(f"{category}: {len(texts)}")
            for text in texts[:self.limit]:
                print("  " + text.replace("\n", "\n    "))
            if len(texts) > self.limit:
                print(f"  ... and {len(texts) - self.limit} more")
        for text in self.notes:
            print(f"note: {text}")
        total = sum(map(len, self.findings.values()))
        seen = ", ".join(f"{number} {what}" for what, number in counts.items())
        print(f"{'FAILED' if total else 'ok'}: {total} findings; {seen}")
        sys.stdout.flush()
        return 1 if total else 0
