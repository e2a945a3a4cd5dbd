#!/usr/bin/env python3
"""Kills real vantor operations with SIGKILL and checks what they leave.

Each operation runs from the same starting files, killed at seeded random times and, through
strace, at the N-th write, pwrite64 and fsync/fdatasync call for N = 1, 2, ... until it gets
through. After each kill: the catalog passes SQLite's integrity check, no operation is half
applied, no file is half written, and running the operation again completes it.

  crash_points.py --vantor PATH --old-catalog PATH [--seed S] [--random N] [--max-calls N]
                  [--stride N]

Every N up to 50 is tried, then every stride-th up to --max-calls; scripts/soak tries them all.
"""
import argparse
import hashlib
import os
import random
import shutil
import signal
import sqlite3
import subprocess
import sys
import tempfile
import time

STRAND = "software\\norvane\\Strand"


class World:
    """A sandbox of its own (home, settings, XDG folders) and the vantor binary."""

    def __init__(self, args, root):
        self.vantor = args.vantor
        self.old_catalog = args.old_catalog
        self.root = root
        self.env = dict(os.environ)
        home = os.path.join(root, "home")
        os.makedirs(home, exist_ok=True)
        self.env.update(HOME=home, XDG_CONFIG_HOME=home + "/.config",
                        XDG_DATA_HOME=home + "/.local/share",
                        XDG_RUNTIME_DIR=root, VANTOR_SETTINGS_ROOT=root + "/registry")

    def run(self, *args, check=True, prefix=(), timeout=120):
        p = subprocess.run(list(prefix) + [self.vantor, *args], env=self.env,
                           capture_output=True, text=True, timeout=timeout)
        if check and p.returncode != 0:
            raise RuntimeError("vantor %s: exit %d: %s" % (" ".join(args), p.returncode, p.stderr))
        return p


def rows(path, sql):
    db = sqlite3.connect(path)
    try:
        return db.execute(sql).fetchall()
    finally:
        db.close()


def intact(path):
    """Integrity of a catalog file; opening rolls a hot journal back as the next user would."""
    if not os.path.exists(path):
        return "no catalog"
    result = rows(path, "PRAGMA integrity_check")
    return None if result == [("ok",)] else "integrity: %r" % result[:3]


def tag_forest_problems(path):
    """Parents exist, siblings keep distinct places (numbered from 0 or 1, with gaps after a
    removal), and no tag is its own ancestor."""
    tags = {i: (p, s) for i, p, s in rows(path, "SELECT id, parent_id, sibling_index FROM tag_table")}
    children = {}
    for i, (p, s) in tags.items():
        if p != 0 and p not in tags:
            return "tag %d under missing %d" % (i, p)
        children.setdefault(p, []).append(s)
    for p, indexes in children.items():
        if p != 0 and len(set(indexes)) != len(indexes):
            return "siblings of %d share places: %r" % (p, sorted(indexes))
    for i in tags:
        seen, at = set(), i
        while at != 0:
            if at in seen:
                return "cycle through %d" % i
            seen.add(at)
            at = tags[at][0]
    return None


def album_problems(path):
    """Each tag's ordered media are numbered 0..n-1."""
    orders = {}
    for tag, index in rows(path, "SELECT tag_id, media_index FROM tag_to_media_table "
                                 "WHERE tag_id IN (SELECT id FROM tag_table WHERE media_is_ordered)"):
        orders.setdefault(tag, []).append(index)
    for tag, indexes in orders.items():
        if sorted(indexes) != list(range(len(indexes))):
            return "media of album %d numbered %r" % (tag, sorted(indexes))
    return None


def digest(path):
    with open(path, "rb") as f:
        return hashlib.sha256(f.read()).hexdigest()


class Operation:
    """prepare(world, folder) makes the starting files; command(folder) the vantor arguments;
    state(folder) names where a run got to ("before", "after", or a whole step in between),
    raising on anything half done."""

    def __init__(self, name, prepare, command, state, steps=("before", "after")):
        self.name, self.prepare, self.command, self.state, self.steps = (
            name, prepare, command, state, steps)


def catalog_state(folder, extra=None):
    path = folder + "/catalog.omb14db"
    problem = intact(path) or tag_forest_problems(path) or album_problems(path)
    if problem:
        raise AssertionError(problem)
    orphans = rows(path, "SELECT COUNT(*) FROM media_table m WHERE NOT EXISTS "
                         "(SELECT 1 FROM media_to_metadata_table WHERE media_id = m.id)")[0][0]
    if orphans:
        raise AssertionError("%d media without their metadata" % orphans)
    return extra(path) if extra else None


def make_operations(world):
    def filled(folder, photos=6):
        world.run("catalog", "create", folder)
        world.run("sample-photos", folder + "/photos", "--count", str(photos))
        world.run("import", folder + "/catalog.omb14db", folder + "/photos")
        group = world.run("album", "group", folder + "/catalog.omb14db", "Trips").stdout.split()[3]
        world.run("album", "create", folder + "/catalog.omb14db", "Rome", "--group", group)

    def tag_id(path, name):
        return str(rows(path, "SELECT id FROM tag_table WHERE name = '%s'" % name)[0][0])

    def media_ids(path):
        return [str(m) for (m,) in rows(path, "SELECT id FROM media_table ORDER BY id")]

    def imported(path):
        n = rows(path, "SELECT COUNT(*) FROM media_table")[0][0]
        if n % 4 and n != 10:
            raise AssertionError("%d media: not whole batches of 4" % n)
        return "before" if n == 0 else "after" if n == 10 else "batch %d" % (n // 4)

    def import_prepare(folder):
        world.run("catalog", "create", folder)
        world.run("sample-photos", folder + "/photos", "--count", "10")

    def album_state(path):
        held = rows(path, "SELECT COUNT(*) FROM tag_to_media_table WHERE tag_id = %s"
                    % tag_id(path, "Rome"))[0][0]
        if held not in (0, 6):
            raise AssertionError("album holds %d of 6" % held)
        return "before" if held == 0 else "after"

    def move_state(path):
        parent = rows(path, "SELECT parent_id FROM tag_table WHERE name = 'Rome'")[0][0]
        return "before" if str(parent) == tag_id(path, "Trips") else "after"

    def version_state(folder):
        path = folder + "/catalog.omb14db"
        problem = intact(path)
        if problem:
            raise AssertionError(problem)
        version = rows(path, "SELECT version_number FROM version_table")[0][0]
        return {7: "before", 8: "version 8", 9: "after"}[version]

    def old(version):
        def prepare(folder):
            os.makedirs(folder)
            subprocess.run([world.old_catalog, folder + "/catalog.omb14db", str(version)],
                           check=True)
        return prepare

    def copy_state(folder):
        catalog_state(folder)
        target = folder + "/copy.omb14db"
        if not os.path.exists(target):
            return "before"
        problem = intact(target)
        if problem:
            raise AssertionError("copy: " + problem)
        count = "SELECT (SELECT COUNT(*) FROM media_table), (SELECT COUNT(*) FROM tag_table)"
        if rows(target, count) != rows(folder + "/catalog.omb14db", count):
            raise AssertionError("copy holds other rows than its source")
        return "after"

    def save_prepare(folder):
        filled(folder)
        world.run("sync-catalog", "set", folder)
        path = folder + "/catalog.omb14db"
        with open(folder + "/selection.xml", "w") as f:
            f.write('<tagselection><tag localid="%s" onlineid="" parents="Trips" label="Rome" '
                    'state="1" flag="false" type="collection"/><tag localid="" onlineid="o1" '
                    'parents="" label="Online" state="1" flag="false" type="collection"/>'
                    '</tagselection>' % tag_id(path, "Rome"))
        with open(folder + "/prefs.xml", "w") as f:
            f.write("<syncon>true</syncon>")

    def save_state(folder):
        def marks(path):
            made = rows(path, "SELECT COUNT(*) FROM tag_table WHERE name = 'Online'")[0][0]
            return "after" if made else "before"
        state = catalog_state(folder, marks)
        pref = folder + "/syncdb/u.pref"
        if os.path.exists(pref) and open(pref).read() != "<syncon>true</syncon>":
            raise AssertionError("preference file half written")
        return state

    return [
        Operation("import", import_prepare,
                  lambda f: ["import", f + "/catalog.omb14db", f + "/photos", "--batch", "4"],
                  lambda f: catalog_state(f, imported), ("before", "batch 1", "batch 2", "after")),
        Operation("album edit", filled,
                  lambda f: ["album", "add", f + "/catalog.omb14db",
                             tag_id(f + "/catalog.omb14db", "Rome"),
                             *media_ids(f + "/catalog.omb14db")],
                  lambda f: catalog_state(f, album_state)),
        Operation("tag move", filled,
                  lambda f: ["tag", "move", f + "/catalog.omb14db",
                             tag_id(f + "/catalog.omb14db", "Rome"), "--namespace",
                             "collection_ns", "--index", "0"],
                  lambda f: catalog_state(f, move_state)),
        Operation("upgrade 7", old(7), lambda f: ["catalog", "upgrade", f + "/catalog.omb14db"],
                  version_state, ("before", "version 8", "after")),
        Operation("upgrade 8", old(8), lambda f: ["catalog", "upgrade", f + "/catalog.omb14db"],
                  version_state, ("version 8", "after")),
        Operation("catalog copy", filled,
                  lambda f: ["catalog", "copy", f + "/catalog.omb14db", f + "/copy.omb14db"],
                  copy_state),
        Operation("save selection", save_prepare,
                  lambda f: ["save", "--selection", f + "/selection.xml", "--prefs",
                             f + "/prefs.xml", "--user", "u"],
                  save_state),
    ]


def kill_methods(args, rng, seconds):
    """(label, strace prefix or a delay) for each way of killing a run."""
    for syscalls in ("pwrite64", "write", "fsync,fdatasync"):
        for n in [*range(1, 51), *range(51, args.max_calls + 1, args.stride)]:
            yield "%s %d" % (syscalls, n), [
                "strace", "-f", "-qq", "-o", "/dev/null", "-e", "trace=" + syscalls, "-e",
                "inject=%s:signal=KILL:when=%d" % (syscalls, n)], None
    for i in range(args.random):
        yield "after %.3f s" % (t := rng.uniform(0, seconds)), [], t


def check_operation(world, op, args, rng, figures):
    start = os.path.join(world.root, "start-" + op.name.replace(" ", "-"))
    op.prepare(start)
    work = os.path.join(world.root, "work")

    def fresh():
        shutil.rmtree(work, ignore_errors=True)
        shutil.copytree(start, work)
        # The settings name the catalog folder of the start; point them at the copy.
        world.run("sync-catalog", "set", work)

    fresh()
    began = time.monotonic()
    world.run(*op.command(work))
    seconds = time.monotonic() - began
    done = op.state(work)
    assert done == "after", "%s: a whole run ends %s" % (op.name, done)

    exhausted = set()
    for label, prefix, delay in kill_methods(args, rng, seconds):
        kind = label.split()[0]
        if kind in exhausted:
            continue
        fresh()
        command = op.command(work)
        if delay is None:
            p = world.run(*command, check=False, prefix=prefix)
            killed = p.returncode in (-signal.SIGKILL, 128 + signal.SIGKILL)
            if not killed:
                assert p.returncode == 0, "%s, %s: %s" % (op.name, label, p.stderr)
                exhausted.add(kind)
                continue
        else:
            child = subprocess.Popen([world.vantor, *command], env=world.env,
                                     stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
            time.sleep(delay)
            child.kill()
            killed = child.wait() == -signal.SIGKILL
        figures["kills"] += killed
        state = op.state(work)
        assert state in op.steps, "%s, %s: left %s" % (op.name, label, state)
        figures["states"].setdefault(op.name, set()).add(state)
        if state != "after":
            p = world.run(*op.command(work), check=False)
            assert p.returncode == 0, "%s, %s, run again: %s" % (op.name, label, p.stderr)
            assert op.state(work) == "after", "%s, %s: run again ends short" % (op.name, label)
            litter = [n for n in os.listdir(work) if n.endswith((".new", ".new-journal"))]
            assert not litter, "%s, %s: run again left %s" % (op.name, label, litter)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--vantor", required=True)
    parser.add_argument("--old-catalog", required=True)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--random", type=int, default=8, help="random-time kills per operation")
    parser.add_argument("--max-calls", type=int, default=1000)
    parser.add_argument("--stride", type=int, default=7)
    args = parser.parse_args()
    if shutil.which("strace") is None:
        sys.exit("crash_points: strace is needed")
    rng = random.Random(args.seed)
    figures = {"kills": 0, "states": {}}
    began = time.monotonic()
    with tempfile.TemporaryDirectory(prefix="vantor-crash-") as root:
        world = World(args, root)
        world.run("settings", "set", STRAND, "UserId", "u")
        for op in make_operations(world):
            before = figures["kills"]
            check_operation(world, op, args, rng, figures)
            print("%-15s %4d kills, left at: %s" % (
                op.name, figures["kills"] - before,
                ", ".join(sorted(figures["states"].get(op.name, ())))))
    print("crash points: %d kills in %.0f s, integrity failures 0" % (
        figures["kills"], time.monotonic() - began))


if __name__ == "__main__":
    main()
