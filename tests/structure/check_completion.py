#!/usr/bin/env python3
"""The shell completes every command and option that a program's --help names, and no other."""
import pathlib
import re
import subprocess
import sys

# Asks the completion about one command line a line of input, its words separated by tabs; the last
# word is the one to be completed.
ASKING = r"""
source "$1"
while IFS= read -r line; do
    COMP_WORDS=()
    while [ -n "$line" ]; do
        COMP_WORDS+=("${line%%$'\t'*}")
        line=${line#*$'\t'}
    done
    COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
    _vantor
    echo "${COMPREPLY[*]}"
done
"""


def completed(script, programs, lines):
    """For each list of words what is offered for its last word."""
    text = "".join("".join(word + "\t" for word in words) + "\n" for words in lines)
    answer = subprocess.run(["bash", "-c", ASKING, "bash", script], input=text, text=True,
                            capture_output=True, env={"PATH": f"{programs}:/usr/bin:/bin"})
    if answer.returncode != 0 or answer.stderr:
        sys.exit(f"the completion failed: {answer.stderr}")
    return [line.split() for line in answer.stdout.splitlines()]


def section(text, title):
    found = re.search(rf"^{title}:\n((?:  .*\n|\n(?=  -))*)", text, re.M)
    return found.group(1) if found else ""


def described(programs, words):
    """(subcommands, {option: choices or None when it is a flag}) that --help names."""
    text = subprocess.run([f"{programs}/{words[0]}", *words[1:], "--help"], check=True,
                          capture_output=True, text=True).stdout
    commands = re.findall(r"^  ([a-z][\w-]*)", section(text, "Subcommands"), re.M)
    options = {}
    for line in re.findall(r"^  (-.*)$", section(text, "Options"), re.M):
        name = re.search(r"--[\w-]+", line).group(0)
        kind = re.search(rf"{name} (\S+)", line)  # two blanks and more lead to the explanation
        kind = kind.group(1) if kind and kind.group(1) not in ("Excludes:", "Needs:") else None
        choices = re.search(r"\{(.*)\}", kind).group(1).split(",") if kind and "{" in kind else []
        options[name] = choices if kind else None
    return commands, options


def main():
    script, programs = sys.argv[1:]
    problems = []
    commands_seen = options_seen = 0
    questions = []  # (words, what must be offered, whether nothing else may be)

    def walk(words, inherited):
        nonlocal commands_seen, options_seen
        commands, options = described(programs, words)
        commands_seen += len(commands)
        options_seen += len(options)
        arguments = words[:2] == ["vantor", "config"] and len(words) == 3
        questions.append((words + [""], commands, not arguments))
        all_options = sorted({*options, *inherited})
        questions.append((words + ["-"], all_options, True))
        for name, choices in options.items():
            if choices is None:
                # A flag takes no value: the word behind it is completed as any other is.
                questions.append((words + [name, ""], commands, not arguments))
                questions.append((words + [name, "-"], all_options, True))
                continue
            questions.append((words + [name, "-"], [], True))
            if choices:
                questions.append((words + [name, ""], choices, True))
                questions.append((words + [name, "=", ""], choices, True))
            elif commands:
                # The value of an option is no command, and the command behind it is found.
                questions.append((words + [name, commands[0], commands[-1], "--h"], ["--help"],
                                  True))
        for command in commands:
            walk(words + [command], {} if words[0] == "vantor-issuer" else options | inherited)

    for program in ("vantor", "vantor-reader", "vantor-issuer"):
        walk([program], {})
    profiles = [path.stem for path in pathlib.Path(sys.argv[0]).parents[2]
                .glob("vreader/profiles/*.json")]
    questions += [
        (["vantor", "i"], ["info", "ic", "id"], True),
        (["/usr/bin/vantor", "--port", "ic", "ic", "arqc", "--am"], ["--amount"], True),
        (["vantor", "--port=", "U"], [], True),
        (["vantor", "--port", "=", "U"], ["USB"], True),
        (["vantor", "ic", "log", "--interface", "t"], ["terminal"], True),
        (["vantor", "config", "set", "Ic"], ["IcBaud", "Iccmd"], True),
        (["vantor", "ic", "transaction", "--amount", "1", "--", "--spoil"],
         ["--spoil-arpc", "--spoil-mac"], True),
        (["vantor", "purse", "purchase", "--", "--num"], ["--number"], True),
        (["vantor", "ic", "apdu", "--script", ""], [], True),  # the shell offers files
        (["vantor-issuer", "--script", "un"], ["unblock-application", "unblock-pin"], True),
        (["vantor-reader", "--profile", ""], profiles, True),
    ]
    answers = completed(script, programs, [words for words, _, _ in questions])
    if len(answers) != len(questions):
        sys.exit(f"{len(questions)} questions, {len(answers)} answers")
    for (words, wanted, alone), answer in zip(questions, answers):
        line = " ".join(words)
        problems += [f"{line}: {word} is not offered" for word in wanted if word not in answer]
        if alone:
            problems += [f"{line}: {word} is offered" for word in answer if word not in wanted]

    print(f"{commands_seen} commands, {options_seen} options, {len(questions)} completions")
    if commands_seen < 40 or options_seen < 200:
        problems.append("suspiciously few: has the help changed its form?")
    print("\n".join(problems))
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
