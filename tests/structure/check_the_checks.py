#!/usr/bin/env python3
"""The structure checks must notice what they are there for: each is shown a wrong case."""
import pathlib
import sys
import tempfile

sys.path.insert(0, str(pathlib.Path(__file__).parent))
import check_config  # noqa: E402
import check_exports  # noqa: E402
import check_faults  # noqa: E402
import check_layers  # noqa: E402
import check_manual  # noqa: E402
import check_null_arguments  # noqa: E402
import check_packaging  # noqa: E402


def layer_problems(files):
    with tempfile.TemporaryDirectory() as directory:
        root = pathlib.Path(directory)
        for name, text in files.items():
            (root / name).parent.mkdir(parents=True, exist_ok=True)
            (root / name).write_text(text)
        return check_layers.problems_in(root)[0]


HELP = {"": {"options": {"--port": "PORT"}, "arguments": [], "commands": ["m1", "error"]},
        "m1": {"options": {}, "arguments": [], "commands": ["read"]},
        "m1 read": {"options": {"--key": "HEX", "--all": ""}, "arguments": ["BLOCK"],
                    "commands": []},
        "error": {"options": {}, "arguments": ["CODE"], "commands": []}}
PAGE = """.Sh GENERAL OPTIONS
.It Fl -port Ar PORT
.Sh COMMANDS
.It Cm m1 read Ar BLOCK
Reads.
.Op Fl -key Ar HEX
.Op Fl -all .
.It Cm error Ar CODE
.Sh COMMAND OPTIONS
.It Fl -all , Fl -key Ar HEX
"""


def page_problems(page):
    return check_manual.problems_in(HELP, *check_manual.read_page(page))


def main():
    assert not page_problems(PAGE), page_problems(PAGE)
    for text, other in ((".It Fl -port Ar PORT\n", ""), (".Op Fl -all .\n", ""),
                        (".It Cm error Ar CODE\n", ""), ("error Ar CODE", "error"),
                        (".Op Fl -key Ar HEX", ".Op Fl -key Ar FILE"),
                        (".Op Fl -all", ".Op Fl -new\n.Op Fl -all"),
                        (".It Fl -all , Fl -key", ".It Fl -key"),
                        ("-port Ar PORT", "-port Ar NAME"), ("error Ar CODE", "errors Ar CODE")):
        assert text in PAGE and page_problems(PAGE.replace(text, other)), text
    assert check_manual.options_in_help(
        "Options:\n  -h,--help    Print\n  --port PORT (Env:P)\n          where\n"
        "  --speak krel|union:{krel,union} Excludes: --x\n  --trace Excludes: --quiet\n"
        "  --no-out{false}   none\n  --size SIZE  1K\n  --all         every one\n") == {
            "--port": "PORT", "--speak": "krelunion", "--trace": "", "--no-out": "",
            "--size": "SIZE", "--all": ""}

    for what, files in (
            ("an include upward", {"src/link/a.cpp": '#include "ops/b.h"\n'}),
            ("a public header of a floor above", {"src/ops/a.cpp": "#include <vantor/pboc.h>\n"}),
            ("the host's header below the top floor", {"src/ops/a.cpp": "#include <vantor.h>\n"}),
            ("a way around by the parent directory", {"src/link/a.cpp": '#include "../ops/b.h"\n',
                                                      "src/ops/b.h": "\n"}),
            ("a file deeper in a floor", {"src/link/deep/a.cpp": '#include "ops/b.h"\n'}),
            ("the virtual reader using library code", {"vreader/a.cpp": '#include "link/b.h"\n'}),
            ("the same by its path", {"vreader/a.cpp": '#include "../src/link/b.h"\n'})):
        assert layer_problems(files), what
    assert not layer_problems({"src/api/a.cpp": '#include "ops/b.h"\n#include <vector>\n'})

    assert check_exports.differences([("a", ["x", "y"]), ("b", ["x"])]) == ["b lacks y"]
    assert check_exports.differences([("a", ["x", "x"]), ("b", ["x"])]) == ["a names x twice"]

    assert check_null_arguments.missing({"A", "B", "DES"}, "EXPECT_EQ(0, A(nullptr))") == ["B"]
    graph = {"f": {"g"}, "g": {"open@plt"}, "h": {"strlen@plt"}, "p": {"*"}, "open@plt": {"*"},
             "strlen@plt": {"*"}}
    tests = "CALL(host.library, f)(1); CPP_CALL(library, P, \"p\")();"
    assert check_faults.missing(["f", "g", "h", "p"], graph, {"open"}, tests) == ["g"]
    graph["g"] = {"__open_2@plt"}
    assert check_faults.missing(["f", "g", "h", "p"], graph, {"open"}, "") == ["f", "g", "p"]

    right = ("; all\n[devcfg]\n" + "".join(f"; why\n{k}={v}\n" for k, v in
             check_config.SETTINGS["devcfg"].items()) + "[log]\n" + "".join(
             f"; why\n{k}={v}\n" for k, v in check_config.SETTINGS["log"].items()))
    assert not check_config.problems_in(right), check_config.problems_in(right)
    for wrong in (right.replace("Iccmd=0", "Iccmd = 0"), right.replace("saveday=15\n", ""),
                  right.replace("; why\nIdBaud", "IdBaud"), right.replace("\n", "\r\n"),
                  ";\n" * 21 + right, right.replace("[log]", ";\n" * 20 + "[log]")):
        assert check_config.problems_in(wrong), wrong

    assert check_packaging.listed_symbols('libx.so.2 x #MINVER#\n (c++)"f(int)@Base" 1.0\n '
                                          'g@Base 1.0\n') == ("libx.so.2", ["f(int)", "g"])
    rules = "".join(f'SUBSYSTEM=="{kind}", ATTR{{idVendor}}=="12ab", ATTR{{idProduct}}=="34cd", '
                    'MODE="0660", GROUP="vantor", TAG+="uaccess"\n' for kind in ("usb", "hidraw"))
    assert not check_packaging.rule_problems("60-x.rules", rules, "12ab", "34cd")
    for name, wrong in (("73-x.rules", rules), ("60-x.rules", rules.replace("12ab", "12AB")),
                        ("60-x.rules", rules.replace("34cd", "34ce", 1)),
                        ("60-x.rules", rules.replace("hidraw", "usb")),
                        ("60-x.rules", rules.replace('GROUP="vantor", ', ""))):
        assert check_packaging.rule_problems(name, wrong, "12ab", "34cd"), wrong
    return 0


if __name__ == "__main__":
    sys.exit(main())
