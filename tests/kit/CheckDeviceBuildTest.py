#!/usr/bin/env python3
"""scripts/check_device_build.py on the tree as it is (no problem) and on copies doctored with
each fault it exists to catch (the problem named)."""
import os
import shutil
import subprocess
import sys
import tempfile
import unittest

REPO = os.path.abspath(os.path.join(os.path.dirname(__file__), "..", ".."))
CHECKER = os.path.join(REPO, "scripts", "check_device_build.py")
COPIED = ["Android.bp", "interface", "callback", "common", "event", "manager", "service", "host",
          "tests", "fuzz", "docs"]


def replace(path, old, new):
    """A doctoring of the copy: every `old` of `path` becomes `new`."""
    return path, old, new


# (fault, how the copy is doctored, a line of the report that names it)
CASES = [
    ("the defaults allow a 32-bit variant",
     replace("Android.bp", '    compile_multilib: "64",\n', ""),
     "libtcam_hal_aon_test would build a 32-bit variant (compile_multilib 'both'), but it "
     "includes the vendor contract headers"),
    ("a module of both variants links the library",
     replace("Android.bp", '    shared_libs: ["libbinder_ndk"],\n',
             '    shared_libs: [\n        "libbinder_ndk",\n        "libtcam_hal_aon",\n    ],\n'),
     "VtsHalAonTargetTest would build a 32-bit variant (compile_multilib 'both'), but it links "
     "libtcam_hal_aon"),
    ("the AIDL module is frozen with Android 14's property",
     replace("interface/Android.bp", '    stability: "vintf",\n',
             '    stability: "vintf",\n    frozen: true,\n'),
     "vendor.tarvo.hardware.camera.aon uses property 'frozen', which Android 13 lacks"),
    ("the fuzzer takes Android 14's defaults",
     replace("Android.bp", 'defaults: ["libtcam_hal_aon_defaults"],\n    srcs: ["fuzz/',
             'defaults: [\n        "libtcam_hal_aon_defaults",\n        "service_fuzzer_defaults",'
             '\n    ],\n    srcs: ["fuzz/'),
     "aon_service_binder_fuzzer uses defaults 'service_fuzzer_defaults', which Android 13 lacks"),
    ("a device source includes a host control header",
     replace("tests/vts/AonClient.h", "#include <android-base/thread_annotations.h>\n",
             "#include <android-base/thread_annotations.h>\n#include <host/binder_control.h>\n"),
     "VtsHalAonTargetTest: tests/vts/AonClient.h includes host/binder_control.h, which only the "
     "host build has"),
    ("a device source reaches a host header through a test header",
     replace("tests/support/StatusMatchers.h", "#include <ostream>\n",
             '#include <ostream>\n\n#include "tests/support/FakeServiceCallback.h"\n'),
     "tests/support/FakeServiceCallback.h includes host/binder_control.h"),
    ("Android.bp names a host stand-in",
     replace("Android.bp", '"tests/vts/AonClient.cpp",', '"host/cutils/properties.cpp",\n'
             '        "tests/vts/AonClient.cpp",'),
     "VtsHalAonTargetTest: names host/cutils/properties.cpp, which only the host build has"),
    ("a device source uses a library only the host has",
     replace("tests/vts/AonClient.cpp", "#include <android/binder_manager.h>\n",
             "#include <android/binder_manager.h>\n#include <nlohmann/json.hpp>\n"),
     "includes <nlohmann/json.hpp>, which a device does not have"),
    ("the guide no longer states the minimum",
     replace("docs/INTEGRATION.md", "Android 13 is the minimum", "Android 13 will do"),
     "docs/INTEGRATION.md does not state Android 13 as the minimum"),
]


def run(root):
    result = subprocess.run([sys.executable, CHECKER, root], capture_output=True, text=True)
    return result.returncode, result.stdout


class CheckDeviceBuildTest(unittest.TestCase):
    def test_tree_as_it_is_has_no_problem(self):
        self.assertEqual((0, ""), run(REPO))

    def test_each_fault_is_reported(self):
        with tempfile.TemporaryDirectory() as root:
            for name in COPIED:
                source = os.path.join(REPO, name)
                if os.path.isdir(source):
                    shutil.copytree(source, os.path.join(root, name),
                                    ignore=shutil.ignore_patterns("corpus", "data"))
                else:
                    shutil.copy(source, root)
            for fault, (path, old, new), expected in CASES:
                with self.subTest(fault):
                    file = os.path.join(root, path)
                    with open(file, encoding="utf-8") as f:
                        text = f.read()
                    self.assertIn(old, text, "the doctoring no longer applies")
                    with open(file, "w", encoding="utf-8") as f:
                        f.write(text.replace(old, new))
                    status, report = run(root)
                    with open(file, "w", encoding="utf-8") as f:
                        f.write(text)
                    self.assertEqual(1, status, report)
                    self.assertIn(expected, report)


if __name__ == "__main__":
    unittest.main()
