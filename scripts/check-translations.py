#!/usr/bin/env python3
"""Fails when a translation catalogue is not complete for the current sources.

Runs lupdate, with the arguments the glyphd_lupdate target uses, over temporary copies of
the catalogues (the committed ones are never rewritten), then reports every message of every
copy that is not finished: a new source text without a translation, a translation marked
unfinished, an empty one, and entries whose text left the sources (vanished or obsolete).

    check-translations.py LUPDATE CATALOGUE.ts... -- LUPDATE-ARGUMENTS...

ctest runs it as the test "translations_complete"; `cmake --build <dir> --target
glyphd_lupdate` refreshes the catalogues for real.
"""
import os
import shutil
import subprocess
import sys
import tempfile
import xml.etree.ElementTree as ElementTree


def problems(catalogue):
    """Yields (context, source, reason) for every message that is not finished."""
    for context in ElementTree.parse(catalogue).getroot().iter("context"):
        context_name = context.findtext("name", "")
        for message in context.iter("message"):
            source = message.findtext("source", "")
            translation = message.find("translation")
            if translation is None:
                yield context_name, source, "no translation"
                continue
            kind = translation.get("type", "")
            if kind in ("unfinished", "vanished", "obsolete"):
                yield context_name, source, kind
                continue
            forms = translation.findall("numerusform") or [translation]
            if any(not (form.text or "").strip() for form in forms):
                yield context_name, source, "empty translation"


def main(argv):
    if "--" not in argv or argv.index("--") < 3:
        sys.exit(__doc__)
    split = argv.index("--")
    lupdate, catalogues, lupdate_arguments = argv[1], argv[2:split], argv[split + 1:]
    failures = 0
    with tempfile.TemporaryDirectory(prefix="glyphd-ts-") as scratch:
        copies = []
        for catalogue in catalogues:
            copy = os.path.join(scratch, os.path.basename(catalogue))
            shutil.copyfile(catalogue, copy)
            copies.append(copy)
        run = subprocess.run([lupdate, *lupdate_arguments, "-ts", *copies],
                             capture_output=True, text=True)
        if run.returncode != 0:
            print(run.stdout + run.stderr)
            print("FAIL: lupdate failed")
            return 1
        for copy in copies:
            found = list(problems(copy))
            failures += len(found)
            for context, source, reason in found:
                print(f"{os.path.basename(copy)}: {reason}: {context}: {source!r}")
    if failures:
        print(f"FAIL: {failures} unfinished or stale entries in {len(catalogues)} catalogues; "
              "refresh with the glyphd_lupdate target and translate them")
        return 1
    print(f"{len(catalogues)} catalogues complete")
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
