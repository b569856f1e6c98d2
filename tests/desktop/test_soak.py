"""A few thousand links through one running program leave nothing behind in it; ./dev soak sends many more."""

from harness.case import DesktopTest, main
from soak import Soak, header, line

LINKS = 2500
EVERY = 125  # twelve samples after the first thousand links


class StaysFlat(DesktopTest):
    def stays_flat(self, display):
        with Soak(LINKS, EVERY, display) as soak:
            self.addCleanup(self._tell, soak)
            soak.run()
            found, wrong = soak.verdict()
        print("\n".join([f"seed {soak.seed}", header(), *map(line, soak.samples), *found]), flush=True)
        self.assertEqual(soak.desktop.sanitizer_reports, [])
        self.assertEqual(wrong, [])

    def _tell(self, soak):
        if self.has_failed():
            print(f"seed {soak.seed}\n{header()}\n" + "\n".join(map(line, soak.samples)), flush=True)

    def test_without_a_display(self):
        self.stays_flat(False)

    def test_with_a_display(self):
        self.stays_flat(True)


if __name__ == "__main__":
    main()
