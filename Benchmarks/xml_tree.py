#!/usr/bin/env python3
"""Reads an XML file into a tree with Python's own parser, and reports it as Benchmarks/XML.cpp does."""
import resource
import sys
import time
import xml.etree.ElementTree

with open(sys.argv[1], "rb") as file:
    document = file.read()
before = resource.getrusage(resource.RUSAGE_SELF).ru_maxrss
start = time.process_time()
tree = xml.etree.ElementTree.fromstring(document)
seconds = time.process_time() - start
grown = resource.getrusage(resource.RUSAGE_SELF).ru_maxrss - before
print(f"{len(document) / seconds / 1e6:.0f} MB/s, {grown * 1024 / 1e6:.0f} MB")
