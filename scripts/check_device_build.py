#!/usr/bin/env python3
"""What a device tree would refuse in the Soong files, found on a host before anyone builds:

- a module that would have a 32-bit variant although it includes the chip vendor's contract
  headers (anything that reaches manager/VendorAbi.h) or links libtcam_hal_aon, which is 64-bit
  only;
- a construct that the minimum Android release (MIN_ANDROID) does not have;
- a source that a module names, or a header it includes, that only the host build has: anything
  under host/ but the event builder, an include path the device build does not give, or a
  library a device does not carry.

Usage: check_device_build.py [ROOT]. Prints one problem per line; exits 1 when there is any.
The Soong files are read with a small reader of the Blueprint language (no Debian package parses
it; bpfmt only formats).
"""
import os
import re
import sys

MIN_ANDROID = 13

# Constructs a release before the one named lacks: (module type or None for any, what, release).
NEWER_CONSTRUCTS = [
    ("aidl_interface", "property 'frozen'", 14),
    (None, "defaults 'service_fuzzer_defaults'", 14),
]

CONTRACT_GUARD = "manager/VendorAbi.h"
LIBRARY = "libtcam_hal_aon"
# Under host/ only the event builder goes into a device build: plain code that lays out the
# vendor's event record, with no platform stand-in behind it.
DEVICE_SAFE_HOST_DIRS = ("host/eventbuilder/",)
# Angle-bracket headers a device build has: the platform's, the generated AIDL code, gtest.
DEVICE_HEADER_DIRS = ("aidl/", "android/", "android-base/", "cutils/", "log/", "utils/", "gtest/",
                      "gmock/", "fuzzbinder/", "fuzzer/", "sys/", "linux/", "asm/", "arpa/",
                      "netinet/")
INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]', re.MULTILINE)


# --- Blueprint reader -------------------------------------------------------------------------

class BlueprintError(Exception):
    pass


TOKEN = re.compile(r'\s+|//[^\n]*|/\*.*?\*/|"(?:[^"\\]|\\.)*"|-?\d+|[A-Za-z_][A-Za-z0-9_]*|\+=|.',
                   re.DOTALL)


def tokenize(text):
    tokens = []
    for match in TOKEN.finditer(text):
        token = match.group(0)
        if token.isspace() or token.startswith("//") or token.startswith("/*"):
            continue
        tokens.append(token)
    return tokens


class Reader:
    """file := (name '=' value | name '+=' value | type '{' properties '}')*"""

    def __init__(self, text, path):
        self.tokens = tokenize(text)
        self.pos = 0
        self.path = path
        self.variables = {}

    def peek(self):
        return self.tokens[self.pos] if self.pos < len(self.tokens) else None

    def take(self, expected=None):
        token = self.peek()
        if token is None or (expected is not None and token != expected):
            raise BlueprintError(f"{self.path}: expected {expected or 'more'}, found {token}")
        self.pos += 1
        return token

    def modules(self):
        modules = []
        while self.peek() is not None:
            name = self.take()
            if self.peek() in ("=", "+="):
                operator = self.take()
                value = self.value()
                self.variables[name] = (self.variables[name] + value if operator == "+="
                                        else value)
            else:
                modules.append((name, self.properties("{", "}")))
        return modules

    def properties(self, opening, closing):
        self.take(opening)
        props = {}
        while self.peek() != closing:
            key = self.take()
            self.take(":")
            props[key] = self.value()
            if self.peek() == ",":
                self.take()
        self.take(closing)
        return props

    def value(self):
        result = self.operand()
        while self.peek() == "+":
            self.take()
            result = result + self.operand()
        return result

    def operand(self):
        token = self.peek()
        if token == "[":
            self.take()
            items = []
            while self.peek() != "]":
                items.append(self.value())
                if self.peek() == ",":
                    self.take()
            self.take("]")
            return items
        if token == "{":
            return self.properties("{", "}")
        self.take()
        if token.startswith('"'):
            return bytes(token[1:-1], "utf-8").decode("unicode_escape")
        if token in ("true", "false"):
            return token == "true"
        if re.fullmatch(r"-?\d+", token):
            return int(token)
        if token in self.variables:
            return self.variables[token]
        raise BlueprintError(f"{self.path}: unknown value {token}")


# --- The tree's modules -----------------------------------------------------------------------

def blueprint_files(root):
    found = []
    for directory, subdirs, files in os.walk(root):
        subdirs[:] = sorted(d for d in subdirs if d not in (".git", "build"))
        if "Android.bp" in files:
            found.append(os.path.relpath(os.path.join(directory, "Android.bp"), root))
    return found


class Module:
    def __init__(self, kind, props, bp):
        self.kind = kind
        self.props = props
        self.bp = bp
        self.dir = os.path.dirname(bp)
        self.name = props.get("name", "?")


def resolved(module, by_name, seen=()):
    """The module's properties with those of its defaults under them (lists join)."""
    props = {}
    for name in module.props.get("defaults", []):
        if name in by_name and name not in seen:
            for key, value in resolved(by_name[name], by_name, seen + (name,)).items():
                if isinstance(value, list):
                    props[key] = props.get(key, []) + value
                else:
                    props.setdefault(key, value)
    for key, value in module.props.items():
        if isinstance(value, list) and key != "defaults":
            props[key] = props.get(key, []) + value
        else:
            props[key] = value
    return props


def includes_of(path):
    with open(path, encoding="utf-8", errors="replace") as f:
        return INCLUDE.findall(f.read())


def is_host_only(path):
    return path.startswith("host/") and not path.startswith(DEVICE_SAFE_HOST_DIRS)


class Closure:
    """The files a module's sources reach through their includes, and what is wrong on the way."""

    def __init__(self, root, module, props, by_name):
        self.root = root
        self.module = module
        self.dirs = [module.dir] + [os.path.normpath(os.path.join(module.dir, d))
                                    for d in props.get("local_include_dirs", [])]
        for lib in props.get("shared_libs", []) + props.get("static_libs", []):
            if lib in by_name:
                exporter = by_name[lib]
                self.dirs += [os.path.normpath(os.path.join(exporter.dir, d))
                              for d in exporter.props.get("export_include_dirs", [])]
        self.files = {}  # path -> the file that first included it (None for a source)
        self.problems = []
        for src in props.get("srcs", []):
            path = os.path.normpath(os.path.join(module.dir, src))
            if "*" not in path:
                self.visit(path, None)

    def find(self, name, including):
        candidates = [os.path.dirname(including)] if including else []
        for directory in candidates + self.dirs:
            path = os.path.normpath(os.path.join(directory, name))
            if os.path.isfile(os.path.join(self.root, path)):
                return path
        return None

    def visit(self, path, via):
        if path in self.files:
            return
        self.files[path] = via
        name = self.module.name
        if is_host_only(path):
            what = f"names {path}" if via is None else f"includes {path} (from {via})"
            self.problems.append(f"{name}: {what}, which only the host build has")
            return
        if not os.path.isfile(os.path.join(self.root, path)):
            return  # check-kit reports sources that do not exist
        for bracket, header in includes_of(os.path.join(self.root, path)):
            found = self.find(header, path if bracket == '"' else None)
            if found is not None:
                self.visit(found, path)
            elif header.startswith("host/"):
                self.problems.append(f"{name}: {path} includes {header}, which only the host "
                                     "build has")
            elif bracket == '"':
                self.problems.append(f"{name}: {path} includes \"{header}\", which is not on the "
                                     "device build's include path")
            elif "/" in header and not header.startswith(DEVICE_HEADER_DIRS):
                self.problems.append(f"{name}: {path} includes <{header}>, which a device does "
                                     "not have")

    def reaches(self, path):
        return path in self.files

    def chain(self, path):
        links = [path]
        while self.files.get(links[-1]) is not None:
            links.append(self.files[links[-1]])
        return " <- ".join(links)


def check(root):
    problems = []
    modules = []
    for bp in blueprint_files(root):
        with open(os.path.join(root, bp), encoding="utf-8") as f:
            text = f.read()
        try:
            modules += [Module(kind, props, bp) for kind, props in Reader(text, bp).modules()]
        except BlueprintError as error:
            problems.append(str(error))
    by_name = {m.name: m for m in modules}

    guide = os.path.join(root, "docs", "INTEGRATION.md")
    with open(guide, encoding="utf-8") as f:
        if f"Android {MIN_ANDROID} is the minimum" not in f.read():
            problems.append(f"docs/INTEGRATION.md does not state Android {MIN_ANDROID} as the "
                            "minimum")

    for module in modules:
        props = resolved(module, by_name)
        where = f"{module.bp}: {module.name}"

        for kind, what, release in NEWER_CONSTRUCTS:
            if kind not in (None, module.kind) or release <= MIN_ANDROID:
                continue
            used = (what.split("'")[1] in props.get("defaults", []) if what.startswith("defaults")
                    else what.split("'")[1] in module.props)
            if used:
                problems.append(f"{where} uses {what}, which Android {MIN_ANDROID} lacks (it "
                                f"came with Android {release}; the minimum is Android "
                                f"{MIN_ANDROID}, see docs/INTEGRATION.md)")

        if module.kind == "aidl_interface":
            backend = props.get("backend", {})
            java = backend.get("java", {})
            if java.get("enabled") and props.get("gen_trace") and not java.get("platform_apis"):
                problems.append(f"{where}: gen_trace with the Java backend needs platform_apis")
            if not backend.get("ndk", {}).get("enabled", True):
                problems.append(f"{where}: the NDK backend, which {LIBRARY} links, is disabled")

        if not module.kind.startswith("cc_") or module.kind == "cc_defaults":
            continue
        closure = Closure(root, module, props, by_name)
        problems += [f"{module.bp}: {p}" for p in closure.problems]
        links = props.get("shared_libs", []) + props.get("static_libs", [])
        reason = None
        if closure.reaches(CONTRACT_GUARD):
            reason = f"includes the vendor contract headers ({closure.chain(CONTRACT_GUARD)})"
        elif LIBRARY in links:
            reason = f"links {LIBRARY}, which is 64-bit only"
        if reason and props.get("compile_multilib") != "64":
            problems.append(f"{where} would build a 32-bit variant (compile_multilib "
                            f"'{props.get('compile_multilib', 'both')}'), but it {reason}: "
                            "set compile_multilib: \"64\"")
    return problems


def main():
    root = sys.argv[1] if len(sys.argv) > 1 else os.path.join(os.path.dirname(__file__), "..")
    problems = check(os.path.abspath(root))
    for problem in problems:
        print(problem)
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
