#!/usr/bin/env python3
"""The structure checks must notice what they are there for: each is shown a wrong case."""
import pathlib
import sys
import tempfile

sys.path.insert(0, str(pathlib.Path(__file__).parent))
import check_config  # noqa: E402
import check_exports  # noqa: E402
import check_layers  # noqa: E402


def tree(files):
    root = pathlib.Path(tempfile.mkdtemp())
    for name, text in files.items():
        (root / name).parent.mkdir(parents=True, exist_ok=True)
        (root / name).write_text(text)
    return root


def main():
    upward = tree({"src/link/a.cpp": '#include "ops/b.h"\n', "src/ops/b.h": "\n"})
    assert check_layers.problems_in(upward)[0], "an include upward"
    public = tree({"src/transport/a.cpp": '#include "vantor/business.h"\n'})
    assert check_layers.problems_in(public)[0], "a public header of a floor above"
    whole = tree({"src/ops/a.cpp": "#include <vantor.h>\n"})
    assert check_layers.problems_in(whole)[0], "the host's header below the top floor"
    shared = tree({"vreader/a.cpp": '#include "link/frame.h"\n'})
    assert check_layers.problems_in(shared)[0], "the virtual reader using library code"
    downward = tree({"src/api/a.cpp": '#include "ops/b.h"\n#include <vector>\n'})
    assert not check_layers.problems_in(downward)[0], "an include downward is right"

    assert check_exports.differences([("a", ["x", "y"]), ("b", ["x"])]) == ["b lacks y"]
    assert check_exports.differences([("a", ["x", "x"]), ("b", ["x"])]) == ["a names x twice"]

    right = ("; all\n[devcfg]\n" + "".join(f"; why\n{k}={v}\n" for k, v in
             check_config.SETTINGS["devcfg"].items()) + "[log]\n" + "".join(
             f"; why\n{k}={v}\n" for k, v in check_config.SETTINGS["log"].items()))
    assert not check_config.problems_in(right), check_config.problems_in(right)
    for wrong in (right.replace("Iccmd=0", "Iccmd = 0"), right.replace("saveday=15\n", ""),
                  right.replace("; why\nIdBaud", "IdBaud"), right.replace("\n", "\r\n"),
                  ";\n" * 21 + right, right.replace("[log]", ";\n" * 20 + "[log]")):
        assert check_config.problems_in(wrong), wrong
    return 0


if __name__ == "__main__":
    sys.exit(main())
