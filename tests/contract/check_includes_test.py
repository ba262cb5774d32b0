#!/usr/bin/python3
"""Shows check_includes.py trees with and without forbidden lines."""

import contextlib
import io
import tempfile
import unittest
from pathlib import Path

import check_includes


class CheckIncludes(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = Path(folder.name)
        self.write("json/elements.h")
        self.write("framework/utils/Log.h", '#include "json/elements.h"')
        self.write("discovery/HostTable.h", '#include "framework/utils/Log.h"')
        self.write("plugins/Proxy.h", '#include "discovery/HostTable.h"')
        self.write("httpclient/Client.h", "#include <curl/curl.h>")

    def write(self, file, *lines):
        path = self.root / file
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text("\n".join(("#pragma once",) + lines) + "\n", encoding="utf-8")

    def problems(self):
        return check_includes.problems(self.root)[0]

    def test_accepts_a_tree_that_keeps_the_arrows(self):
        self.write("host/main.cpp", '#include "httpclient/Client.h"', '#include "framework/utils/Log.h"')
        self.write("cli/main.cpp", '#include "httpclient/Client.h"', '#include "json/elements.h"')
        self.assertEqual(self.problems(), [])

    def test_catches_every_forbidden_arrow(self):
        files = {
            "json": "json/elements.h",
            "framework": "framework/utils/Log.h",
            "heartbeat": "heartbeat/HeartBeatWindows.h",
            "discovery": "discovery/HostTable.h",
            "plugins": "plugins/Proxy.h",
            "httpclient": "httpclient/Client.h",
            "host": "host/App.h",
            "cli": "cli/Table.h",
        }
        self.write("host/App.h")
        self.write("cli/Table.h")
        self.write("heartbeat/HeartBeatWindows.h")
        checked = 0
        for folder in files:
            for target, included in files.items():
                if target == folder or target in check_includes.ALLOWED[folder]:
                    continue
                with self.subTest(folder=folder, target=target):
                    self.write(f"{folder}/Wrong.cpp", f'#include "{included}"')
                    self.assertEqual(
                        self.problems(),
                        [f'{folder}/Wrong.cpp:2: "{included}": {folder}/ may not include it'],
                    )
                    checked += 1
            (self.root / f"{folder}/Wrong.cpp").unlink(missing_ok=True)
        self.assertEqual(checked, 44)

    def test_tells_the_files_of_a_folder_apart(self):
        self.write("heartbeat/HeartBeat.h")
        self.write("heartbeat/HeartBeatWindows.h")
        self.write("discovery/Right.h", '#include "heartbeat/HeartBeat.h"')
        self.assertEqual(self.problems(), [])
        self.write("discovery/Wrong.h", '#include "heartbeat/HeartBeatWindows.h"')
        self.assertEqual(len(self.problems()), 1)

    def test_keeps_the_header_of_slp_to_those_who_speak_it(self):
        for folder in ("slp/api", "discovery", "cli"):
            self.write(f"{folder}/Right.h", "#include <slp.h>")
        self.assertEqual(self.problems(), [])
        for folder in ("json", "framework", "heartbeat", "plugins", "httpclient", "host"):
            with self.subTest(folder=folder):
                self.write(f"{folder}/Wrong.h", " # include <slp.h>  // never mind")
                self.assertEqual(self.problems(), [f"{folder}/Wrong.h:2: <slp.h>: {folder}/ may not include it"])
                (self.root / folder / "Wrong.h").unlink()

    def test_catches_an_arrow_between_angle_brackets(self):
        self.write("framework/Wrong.h", "#include <host/App.h>")
        self.write("host/App.h")
        self.assertEqual(len(self.problems()), 1)

    def test_catches_odd_spelling(self):
        self.write("json/Wrong.h", '  #  include   "framework/utils/Log.h"  // never mind')
        self.assertEqual(len(self.problems()), 1)

    def test_catches_a_file_that_is_not_there(self):
        self.write("json/Wrong.h", '#include "json/nothing.h"')
        self.assertEqual(self.problems(), ['json/Wrong.h:2: "json/nothing.h" is not there'])

    def test_takes_a_template_for_the_file_that_is_made_of_it(self):
        self.write("host/Version.h.in")
        self.write("host/App.cpp", '#include "host/Version.h"')
        self.assertEqual(self.problems(), [])

    def test_catches_an_include_that_is_not_named_from_the_root(self):
        self.write("framework/utils/Wrong.cpp", '#include "Log.h"')
        self.assertEqual(
            self.problems(), ['framework/utils/Wrong.cpp:2: "Log.h" is not named from the root of the tree']
        )
        self.write("framework/utils/Wrong.cpp", '#include "../utils/Log.h"')
        self.assertEqual(len(self.problems()), 1)

    def test_catches_a_folder_without_a_rule(self):
        self.write("extra/New.h")
        self.assertEqual(self.problems(), ["extra/New.h: its folder has no rule in check_includes.py"])

    def test_catches_a_circle(self):
        self.write("json/a.h", '#include "json/b.h"')
        self.write("json/b.h", '#include "json/c.h"')
        self.write("json/c.h", '#include "json/a.h"')
        self.assertEqual(self.problems(), ["circle: json/a.h -> json/b.h -> json/c.h -> json/a.h"])

    def test_catches_a_file_that_includes_itself(self):
        self.write("json/a.h", '#include "json/a.h"')
        self.assertEqual(self.problems(), ["circle: json/a.h -> json/a.h"])

    def test_two_ways_to_a_file_are_no_circle(self):
        self.write("json/a.h", '#include "json/b.h"', '#include "json/elements.h"')
        self.write("json/b.h", '#include "json/elements.h"')
        self.assertEqual(self.problems(), [])

    def test_fails_for_an_empty_tree_and_for_no_tree(self):
        with tempfile.TemporaryDirectory() as empty, contextlib.redirect_stdout(io.StringIO()):
            self.assertEqual(check_includes.main(["check_includes.py", empty]), 1)
        with contextlib.redirect_stderr(io.StringIO()):
            self.assertEqual(check_includes.main(["check_includes.py", "/nowhere"]), 2)
            self.assertEqual(check_includes.main(["check_includes.py"]), 2)

    def test_fails_for_a_tree_with_a_problem(self):
        self.write("json/Wrong.h", '#include "json/nothing.h"')
        with contextlib.redirect_stdout(io.StringIO()), contextlib.redirect_stderr(io.StringIO()):
            self.assertEqual(check_includes.main(["check_includes.py", str(self.root)]), 1)


if __name__ == "__main__":
    unittest.main()
