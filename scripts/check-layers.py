#!/usr/bin/env python3
"""Fails when a file includes across a forbidden line between the layers.

Each layer may include its own headers and those of the layers it stands on:
    Middleware        <- nothing of ours
    Common/Utilities  <- nothing of ours
    Common/NetworkMap <- Common/Utilities
    Client/Target     <- Middleware, Common
    Client/*          <- Middleware, Common, Client (Discovery, Routing, Scripting, NetInit, Shell),
                         and the plug-in interfaces of Plugins
    Gui               <- Middleware, Common, Client, Gui
    Cli               <- Middleware, Common, Client, Cli
    App               <- Middleware, Common, Client, Gui
    Simulator         <- nothing of ours (it is a peer, with its own codec)
The client never includes the simulator, except the one place that starts the demo.
"""
import os
import re
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))

# Layer of a path: the longest matching prefix.
LAYERS = [
    ("Middleware", {"Middleware"}),
    ("Common/Utilities", {"Common/Utilities"}),
    ("Common/NetworkMap", {"Common/NetworkMap", "Common/Utilities"}),
    ("Client/Target", {"Client/Target", "Middleware", "Common/Utilities", "Common/NetworkMap"}),
    ("Client", {"Client", "Middleware", "Common/Utilities", "Common/NetworkMap", "Plugins"}),
    ("Gui", {"Gui", "Client", "Middleware", "Common/Utilities", "Common/NetworkMap", "Plugins"}),
    ("Cli", {"Cli", "Client", "Middleware", "Common/Utilities", "Common/NetworkMap"}),
    ("App", {"App", "Gui", "Client", "Middleware", "Common/Utilities", "Common/NetworkMap", "Plugins"}),
    ("Plugins", {"Plugins", "Middleware", "Common/Utilities"}),
    ("Simulator", {"Simulator"}),
]
# Files allowed to cross a line, with the reason.
EXCEPTIONS = {
    # The demo connection starts the built-in simulator.
    "Client/Shell/DemoTarget.cpp": {"Simulator"},
}
SOURCE = re.compile(r"\.(c|cc|cpp|h|hpp)$")
INCLUDE = re.compile(r'^\s*#\s*include\s*[<"]([^">]+)[">]')


def layer_of(path):
    best = None
    for prefix, _ in LAYERS:
        if path == prefix or path.startswith(prefix + "/"):
            if best is None or len(prefix) > len(best):
                best = prefix
    return best


def header_index():
    """Maps each header's file name to the layers that own a header of that name."""
    index = {}
    for prefix, _ in LAYERS:
        base = os.path.join(ROOT, prefix)
        for folder, _, files in os.walk(base):
            for name in files:
                if name.endswith((".h", ".hpp")):
                    rel = os.path.relpath(os.path.join(folder, name), ROOT)
                    index.setdefault(name, set()).add(layer_of(rel))
    return index


def main():
    index = header_index()
    allowed_by_layer = dict(LAYERS)
    failures = []
    for prefix, _ in LAYERS:
        for folder, _, files in os.walk(os.path.join(ROOT, prefix)):
            for name in files:
                if not SOURCE.search(name):
                    continue
                path = os.path.relpath(os.path.join(folder, name), ROOT)
                layer = layer_of(path)
                allowed = set(allowed_by_layer[layer]) | EXCEPTIONS.get(path, set())
                with open(os.path.join(ROOT, path), encoding="utf-8", errors="replace") as source:
                    for number, line in enumerate(source, 1):
                        match = INCLUDE.match(line)
                        if not match:
                            continue
                        header = os.path.basename(match.group(1))
                        owners = index.get(header)
                        if not owners:
                            continue  # a system or third-party header
                        if not any(any(owner == a or owner.startswith(a + "/") for a in allowed) for owner in owners):
                            failures.append(f"{path}:{number}: includes {match.group(1)} from {', '.join(sorted(owners))}")
    if failures:
        print("Layer rule violations:")
        print("\n".join(failures))
        return 1
    print("layers: ok")
    return 0


if __name__ == "__main__":
    sys.exit(main())
