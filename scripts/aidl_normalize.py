#!/usr/bin/env python3
"""Prints an .aidl file's declarations without comments or blank lines, for comparisons."""
import re
import sys

text = open(sys.argv[1]).read()
text = re.sub(r"/\*.*?\*/", "", text, flags=re.S)
text = re.sub(r"//[^\n]*", "", text)
for line in text.splitlines():
    line = " ".join(line.split())
    if line:
        print(line)
