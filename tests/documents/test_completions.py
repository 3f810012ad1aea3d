#!/usr/bin/env python3
"""The completions: bash's functions are called as bash calls them, with a line and a cursor at its
end. packaging/check also loads those of zsh and fish."""

import re
import subprocess
import tempfile
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent.parent
COMPLETIONS = ROOT / "completions"

# Splits the line into words as readline does (COMP_WORDBREAKS holds "=" and white space), calls the
# function that is registered for the command and prints the candidates one a line.
CALL = r"""
source "$1"
line=$2 COMP_TYPE=$3 COMP_WORDS=()
rest=$line
while [[ -n $rest ]]; do
  if [[ $rest =~ ^([[:space:]]+)(.*)$ ]]; then
    rest=${BASH_REMATCH[2]}
  elif [[ $rest =~ ^(=+|[^[:space:]=]+)(.*)$ ]]; then
    COMP_WORDS+=("${BASH_REMATCH[1]}") rest=${BASH_REMATCH[2]}
  fi
done
[[ $line == *[[:space:]] ]] && COMP_WORDS+=("")
COMP_CWORD=$((${#COMP_WORDS[@]} - 1)) COMP_LINE=$line COMP_POINT=${#line}
[[ $(complete -p "${COMP_WORDS[0]}") =~ -F\ ([^ ]+) ]] || exit 1
"${BASH_REMATCH[1]}" "${COMP_WORDS[0]}" "${COMP_WORDS[COMP_CWORD]}" "${COMP_WORDS[COMP_CWORD-1]}"
printf '%s\n' "${COMPREPLY[@]}"
"""
INSERT, LIST = "9", "63"


class Bash(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        for name in ("customers.TXT", "byname.ISI", "run.log", "two words.TXT"):
            (Path(self.folder.name) / name).touch()
        (Path(self.folder.name) / "work").mkdir()

    def candidates(self, line, kind=INSERT):
        script = COMPLETIONS / "bash" / line.split()[0]
        done = subprocess.run(
            ["bash", "--norc", "-c", CALL, "bash", script, line, kind],
            cwd=self.folder.name, capture_output=True, text=True, check=False,
        )
        self.assertEqual((done.returncode, done.stderr), (0, ""), line)
        return done.stdout.splitlines() if done.stdout != "\n" else []

    def test_data_files_first(self):
        found = self.candidates("tavindex ")
        self.assertEqual(
            sorted(found), ["byname.ISI", "customers.TXT", "run.log", "two words.TXT", "work/"]
        )
        self.assertEqual(self.candidates("tavindex cu"), ["customers.TXT"])

    def test_fields_behind_commas(self):
        self.assertEqual(self.candidates("tavindex customers,by"), ["customers,byname.ISI"])
        self.assertEqual(self.candidates("tavindex customers,,"), ["customers,,L"])
        self.assertEqual(self.candidates("tavindex customers,,,w"), ["customers,,,work/"])

    def test_pre_options(self):
        self.assertEqual(
            self.candidates("tavindex -"), ["-l", "-q", "-0", "-1", "-?", "-d", "-i", "-m", "-t"]
        )
        self.assertEqual(self.candidates("tavindex -qru"), ["-qrun.log"])
        self.assertEqual(self.candidates("tavindex -l ru"), ["run.log"])

    def test_options_behind_the_files(self):
        for before in ("", "-qrun.log ", "-l run.log -d -m9999 ", "-i x.ini "):
            found = self.candidates(f"tavindex {before}customers -")
            self.assertIn("-c=1", found)
            self.assertIn("-n$", found)
            self.assertNotIn("-t", found)

    def test_letters_are_joined(self):
        found = self.candidates("tavindex customers -v")
        self.assertIn("-vn", found)
        self.assertNotIn("-vi", found)

    def test_values_of_c(self):
        self.assertEqual(self.candidates("tavindex byname -c="), ["0", "1"])
        self.assertEqual(self.candidates("tavindex byname -c=1"), ["1"])
        self.assertEqual(self.candidates("tavindex byname -f="), [])

    def test_meanings_are_listed(self):
        found = self.candidates("tavindex customers -", LIST)
        self.assertIn("-r     (build again from the stored command line)", found)
        self.assertIn("-u     (keys in upper case)", found)
        self.assertEqual(self.candidates("tavindex customers -c=1", LIST), ["1"])

    def test_isitool(self):
        commands = ["info", "check", "dump", "find", "stat", "map"]
        self.assertEqual(self.candidates("isitool "), commands)
        self.assertEqual(self.candidates("isitool check "), ["byname.ISI", "work/"])
        self.assertEqual(self.candidates("isitool check --s"), ["--strict"])
        self.assertEqual(self.candidates("isitool find --data cust"), ["customers.TXT"])
        self.assertEqual(self.candidates("isitool find --data=cust"), ["customers.TXT"])
        self.assertEqual(self.candidates("isitool map --color="), ["always", "never", "auto"])
        self.assertEqual(self.candidates("isitool --"), ["--help", "--version"])


def letters_of_the_program():
    """The option letters that the program knows."""
    source = (ROOT / "src/setup/options.cpp").read_text()
    table = source[source.index("kOptionLetters[]") :]
    return set(re.findall(r"\{'(.)',", table[: table.index("};")]))


class OptionLetters(unittest.TestCase):
    """A new letter is told wherever options are."""

    def assert_letters(self, found, missing=""):
        self.assertEqual(set(found), letters_of_the_program() - set(missing))

    def test_readme(self):
        text = (ROOT / "README.md").read_text()
        table = text[text.index("| letter |") :].split("\n\n")[0]
        self.assert_letters(re.findall(r"^\| `(.)", table, re.MULTILINE))

    def test_manual_page(self):
        text = (ROOT / "man/tavindex.1").read_text()
        part = text[text.index(".Ss Options") : text.index(".Ss Compound")]
        self.assert_letters(re.findall(r"^\.It Cm (?:\\&)?(.)", part, re.MULTILINE))

    def test_completions(self):
        # '>' is of no use to a reader of completions.
        bash = (COMPLETIONS / "bash/tavindex").read_text()
        lists = bash[bash.index("_tavindex_letters()") : bash.index("# Adds")]
        self.assert_letters(re.findall(r"^-?([a-z?])[0$=]?\S* ", lists, re.MULTILINE), ">")
        zsh = (COMPLETIONS / "zsh/_tavindex").read_text()
        lists = zsh[: zsh.index("_tavindex_pre_options()")]
        self.assert_letters(re.findall(r"^ +'-?([a-z?])[0$=]?\d?:", lists, re.MULTILINE), ">")
        fish = (COMPLETIONS / "fish/tavindex.fish").read_text()
        letters = re.findall(r"\b([a-z])[0$\\]*\\t'", fish)
        actions = re.findall(r"-n __tavindex_has_data -o (\w)", fish)
        self.assert_letters([*letters, *actions, "?"], ">")
        self.assertIn("-o '?'", fish)


if __name__ == "__main__":
    unittest.main()
