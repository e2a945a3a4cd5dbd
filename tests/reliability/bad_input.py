#!/usr/bin/env python3
"""Runs every vantor command against bad input and checks that each gives a clear error.

The commands are found from the tool's own help. Each leaf command gets, in the places of
its files and catalogs, a truncated, a foreign, a newer-version and a text catalog, a folder
and a missing file; then empty and huge arguments; then malformed preference, selection,
rules, state and stored-search texts where it reads them. No run may crash or trip a
sanitizer; a refusal says why on standard error ("vantor: ..."); and every file that was
there before is byte for byte the same after.

  bad_input.py --vantor PATH
"""
import argparse
import hashlib
import os
import re
import shutil
import sqlite3
import subprocess
import sys
import tempfile

CATALOG_NAMES = {"CATALOG", "FILE", "SOURCE"}
FOLDER_NAMES = {"CATALOG_FOLDER", "FOLDER", "TARGET"}
# Commands that take a catalog's place but no catalog: they may go through on any file there.
READS_NO_CATALOG = {"prefs show", "settings set", "sync-catalog set", "sample-photos",
                    "catalog create"}
CRASH_WORDS = ("AddressSanitizer", "runtime error:", "terminate called", "Segmentation", "LeakSanitizer")


def help_of(vantor, env, path):
    return subprocess.run([vantor, *path, "--help"], env=env, capture_output=True,
                          text=True).stdout


def leaves(vantor, env, path=()):
    """(command path, positional names, required options) of every leaf command."""
    text = help_of(vantor, env, path)
    subs = re.findall(r"^  ([a-z][a-z0-9-]*) {2,}", text.split("Subcommands:")[1], re.M) \
        if "Subcommands:" in text else []
    if subs:
        for s in subs:
            if s != "help":
                yield from leaves(vantor, env, (*path, s))
        return
    usage = re.search(r"^Usage: .*?\[OPTIONS\][ \t]*(.*)$", text, re.M)
    positionals = re.findall(r"\[?([A-Z_][A-Z_.0-9]*)(?:\.\.\.)?\]?", usage.group(1)) if usage else []
    required = re.findall(r"^\s+(--[a-z-]+) TEXT REQUIRED", text, re.M)
    yield path, positionals, required


def make_inputs(root, vantor, env):
    """Bad catalogs and bad texts, by kind."""
    good = root + "/good"
    subprocess.run([vantor, "catalog", "create", good], env=env, check=True, capture_output=True)
    good_file = good + "/catalog.omb14db"
    with open(good_file, "rb") as f:
        image = f.read()
    kinds = {}

    def put(kind, data):
        os.makedirs(root + "/" + kind)
        path = root + "/" + kind + "/catalog.omb14db"
        with open(path, "wb") as f:
            f.write(data)
        kinds[kind] = path

    put("truncated", image[:len(image) // 3])
    put("text", b"not a catalog\n" * 100)
    put("newer", image)
    db = sqlite3.connect(kinds["newer"])
    db.execute("UPDATE version_table SET version_number = 99")
    db.commit()
    db.close()
    put("foreign", b"")
    db = sqlite3.connect(kinds["foreign"])
    db.execute("CREATE TABLE photos (id INTEGER PRIMARY KEY, name TEXT)")
    db.execute("INSERT INTO photos (name) VALUES ('a')")
    db.commit()
    db.close()
    os.makedirs(root + "/folder/catalog.omb14db")
    kinds["folder"] = root + "/folder/catalog.omb14db"
    kinds["missing"] = root + "/missing/catalog.omb14db"
    texts = {}
    for name, data in {
        "xml": "<tagselection><tag localid=\"1\" state=\"1\"><tag></tagselection",
        "amp": "<syncon>true & false</syncon><restrictfilesize>1e999999</restrictfilesize>",
        "json": "{\"rules\": [{\"field\": \"file name\", \"op\": ",
        "binary": "\x00\xff\xfe(12)(99999999999)(" * 50,
    }.items():
        texts[name] = root + "/" + name + ".txt"
        with open(texts[name], "w", encoding="utf-8", errors="surrogateescape") as f:
            f.write(data)
    return good_file, kinds, texts


def snapshot(root):
    sums = {}
    for folder, _, files in os.walk(root):
        for name in files:
            path = os.path.join(folder, name)
            with open(path, "rb") as f:
                sums[path] = hashlib.sha256(f.read()).hexdigest()
    return sums


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--vantor", required=True)
    args = parser.parse_args()
    failures, runs = [], 0
    with tempfile.TemporaryDirectory(prefix="vantor-bad-") as root:
        env = dict(os.environ, HOME=root, XDG_CONFIG_HOME=root + "/.config",
                   XDG_DATA_HOME=root + "/.local/share", VANTOR_SETTINGS_ROOT=root + "/registry",
                   VANTOR_KSV_LOCAL_STATE=root + "/binary.txt")
        good, catalogs, texts = make_inputs(root, args.vantor, env)
        commands = list(leaves(args.vantor, env))
        bad_files = set(snapshot(root)) - {good}

        def fill(name, catalog, text, plain):
            if name in CATALOG_NAMES:
                return catalog
            if name in FOLDER_NAMES:
                return os.path.dirname(catalog)
            if name.endswith(".JSON"):
                return text
            return plain

        def attempt(path, argv, refuse=False):
            nonlocal runs
            runs += 1
            shutil.rmtree(root + "/missing", ignore_errors=True)
            before = snapshot(root)
            try:
                p = subprocess.run([args.vantor, *argv], env=env, capture_output=True,
                                   timeout=60, stdin=open(texts["xml"]))
            except subprocess.TimeoutExpired:
                failures.append("%s: hangs" % " ".join(argv)[:200])
                return
            err = p.stderr.decode("utf-8", "replace")
            label = " ".join(argv)[:160]
            if p.returncode < 0 or p.returncode > 2 or any(w in err for w in CRASH_WORDS):
                failures.append("%s: exit %d %s" % (label, p.returncode, err[-300:]))
            elif p.returncode == 2 and not re.search(r"^vantor[: ]", err, re.M):
                failures.append("%s: refused without a message: %r" % (label, err[-200:]))
            # A refusal changes nothing; a command that went through may change only what
            # it is about, never the bad inputs.
            if refuse and p.returncode == 0 and " ".join(path) not in READS_NO_CATALOG:
                failures.append("%s: a bad catalog went through" % label)
            after = snapshot(root)
            changed = [f for f, s in before.items() if after.get(f) != s and
                       (p.returncode != 0 or f in bad_files)]
            if changed:
                failures.append("%s: exit %d, changed %s" % (label, p.returncode,
                                                              ", ".join(changed)))

        for path, positionals, required in commands:
            options = []
            for option in required:
                options += [option, texts["xml"] if option != "--folder" else root + "/folder"]
            for kind, catalog in catalogs.items():
                attempt(path, [*path, *[fill(n, catalog, texts["json"], "1") for n in positionals],
                               *options],
                        refuse=any(n in CATALOG_NAMES | FOLDER_NAMES for n in positionals))
            for plain in ("", "x" * 100000):
                attempt(path, [*path, *[fill(n, catalogs["truncated"], plain, plain)
                                        for n in positionals], *options])
            for name in ("amp", "binary", "json"):
                attempt(path, [*path, *[fill(n, good, texts[name], texts[name]
                                             if n != "MEDIA" else "1") for n in positionals],
                               *[texts[name] if o.startswith("/") else o for o in options]])
        # Stored searches read from the command line, on a good catalog.
        for text in ("(12)(1)(", "(3)(2147483648)", "(4)(4)\x7f" * 1000, "(99)", "()"):
            attempt(("search",), ["search", good, text])

    print("bad input: %d commands, %d runs, %d failures" % (len(commands), runs, len(failures)))
    for f in failures[:40]:
        print("  " + f)
    sys.exit(1 if failures else 0)


if __name__ == "__main__":
    main()
