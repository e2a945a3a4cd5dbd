#!/usr/bin/env python3
"""Two processes import and tag in one catalog at once, for a while.

Each writer loops: writes a few new photos into a folder of its own, imports them, and tags
what it imported with its own tag. Afterwards every import and every tagging is in the
catalog, no command failed (a busy catalog is waited for, not reported), and every commit
took a change id of its own, rising with time.

  two_writers.py --vantor PATH [--seconds N]
"""
import argparse
import os
import sqlite3
import subprocess
import sys
import tempfile
import threading
import time


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--vantor", required=True)
    parser.add_argument("--seconds", type=float, default=60)
    args = parser.parse_args()

    with tempfile.TemporaryDirectory(prefix="vantor-writers-") as root:
        env = dict(os.environ, HOME=root, XDG_CONFIG_HOME=root + "/.config",
                   XDG_DATA_HOME=root + "/.local/share", VANTOR_SETTINGS_ROOT=root + "/registry")
        catalog = root + "/catalog.omb14db"

        def vantor(*a):
            p = subprocess.run([args.vantor, *a], env=env, capture_output=True, text=True)
            if p.returncode != 0:
                raise RuntimeError("vantor %s: %s" % (" ".join(a), p.stderr.strip()))
            return p.stdout

        vantor("catalog", "create", root)
        tags = {w: vantor("tag", "add", catalog, "writer %s" % w, "--namespace", "user_ns")
                .split()[2] for w in "ab"}
        done = {w: {"files": 0, "tagged": 0, "commits": 0} for w in "ab"}
        errors = []

        def writer(w):
            n = 0
            try:
                deadline = time.monotonic() + args.seconds
                while time.monotonic() < deadline:
                    n += 1
                    folder = "%s/%s/%04d" % (root, w, n)
                    vantor("sample-photos", folder, "--count", "3")
                    out = vantor("import", catalog, folder, "--json")
                    done[w]["files"] += 3
                    done[w]["commits"] += 1
                    ids = [str(i) for (i,) in sqlite3.connect(catalog, timeout=30).execute(
                        "SELECT id FROM media_table WHERE full_filepath LIKE ?",
                        ("%%/%s/%04d/%%" % (w, n),))]
                    assert len(ids) == 3, out
                    vantor("tag", "media", "add", catalog, tags[w], *ids)
                    done[w]["tagged"] += 3
                    done[w]["commits"] += 1
            except Exception as e:  # reported below, after the other writer ends
                errors.append("writer %s, round %d: %s" % (w, n, e))

        threads = [threading.Thread(target=writer, args=(w,)) for w in "ab"]
        for t in threads:
            t.start()
        for t in threads:
            t.join()
        if errors:
            sys.exit("two writers: " + "; ".join(errors))

        db = sqlite3.connect(catalog)
        media = db.execute("SELECT COUNT(*) FROM media_table").fetchone()[0]
        wanted = sum(d["files"] for d in done.values())
        assert media == wanted, "%d media, %d imported" % (media, wanted)
        for w in "ab":
            tagged = db.execute("SELECT COUNT(*) FROM tag_to_media_table WHERE tag_id = ?",
                                (tags[w],)).fetchone()[0]
            assert tagged == done[w]["tagged"], "writer %s: %d tagged of %d" % (
                w, tagged, done[w]["tagged"])
        # One change id a commit: the counter rose once for each, and the stamps of the
        # commits rise with the ids.
        stamps = db.execute("SELECT change_id, change_date_time FROM db_change_timestamp_table "
                            "ORDER BY change_id").fetchall()
        commits = sum(d["commits"] for d in done.values())
        ids = [i for i, _ in stamps]
        assert ids == list(range(ids[0], ids[0] + len(ids))), "change ids skip or repeat"
        assert [t for _, t in stamps] == sorted(t for _, t in stamps), "stamps out of order"
        assert len(stamps) >= commits, "%d stamps for %d commits" % (len(stamps), commits)
        integrity = db.execute("PRAGMA integrity_check").fetchall()
        assert integrity == [("ok",)], integrity
        print("two writers: %.0f s, %d commits, %d media, %d taggings, no write lost" % (
            args.seconds, commits, media, sum(d["tagged"] for d in done.values())))


if __name__ == "__main__":
    main()
