#include "isitool/usage.h"

namespace tavindex {

const char* const kToolUsage =
    "Usage: isitool COMMAND [OPTION]... FILE [KEY]\n"
    "Looks at ISI files, the indexes of flat data files.\n"
    "\n"
    "  info FILE         what the header says: data file, key, conditions, counts\n"
    "  check FILE        prove that the file is sound and agrees with its data file\n"
    "  dump FILE         the entries in key order\n"
    "  find FILE KEY     the entries with a key, and their records\n"
    "  stat FILE         levels, fill, duplicates, unused space\n"
    "  map FILE          a picture of the file, sector by sector\n"
    "\n"
    "  --json            print for programs (every command)\n"
    "  --data=PATH       the data file, instead of the one that the header names\n"
    "                      (info, check, find)\n"
    "  --no-data         check the file alone\n"
    "  --strict          check: take for a fault what no build leaves behind\n"
    "  --keys            dump the keys alone\n"
    "  --hex             dump keys as hexadecimal digits\n"
    "  --from=KEY        dump from this key on\n"
    "  --to=KEY          dump up to this key, itself included\n"
    "  --prefix          find every key that begins with KEY\n"
    "  --svg             draw the map as an SVG document\n"
    "  --color=WHEN      colour the map: auto, always or never\n"
    "  --help            show this text\n"
    "  --version         show the version\n"
    "\n"
    "KEY is text; \\xNN stands for a byte, \\\\ for a backslash. A KEY shorter than the keys\n"
    "of the index stands for all that begin with it; find fills it with blanks.\n"
    "\n"
    "Nothing is written and nothing is locked: a file that is in use may change while it is\n"
    "being read. Exit status: 0 if all is well, 1 if the file has faults or nothing was\n"
    "found, 2 for misuse or a file that cannot be read.\n";

}  // namespace tavindex
