"""python -m models --output DIR: makes every pair of the table and the sample photograph; --check measures them."""

import argparse
import sys
import time
from pathlib import Path

from models import table


def main():
    arguments = _arguments()
    if arguments.check or arguments.sheet:
        from models import check
        if arguments.check:
            return check.run(arguments.output, arguments.sheet, arguments.downloads)
        return check.sheet(arguments.output, arguments.sheet)
    return make(arguments.output, arguments.downloads)


def make(output, downloads):
    """Writes NAME.xml and NAME.bin of every pair, then sample.png: its presence tells that all is there."""
    from models import ir, pictures, recipes
    output.mkdir(parents=True, exist_ok=True)
    (output / "sample.png").unlink(missing_ok=True)
    kitchen = recipes.Recipes(downloads)
    for number, pair in enumerate(table.PAIRS, 1):
        start = time.monotonic()
        ir.write(kitchen.make(pair), output)
        print(f"[{number}/{len(table.PAIRS)}] {pair.name}  {time.monotonic() - start:.1f} s", flush=True)
    pictures.sample().save(output / "sample.png")
    return 0


def _arguments():
    parser = argparse.ArgumentParser(prog="python -m models", description=__doc__)
    parser.add_argument("--output", type=Path, default=Path("build/models"), metavar="DIR",
                        help="where the pairs and the sample photograph lie (default: %(default)s)")
    parser.add_argument("--downloads", type=Path, default=Path("build/downloads"), metavar="DIR",
                        help="where the source of the trained networks is kept (default: %(default)s)")
    parser.add_argument("--check", action="store_true", help="measure the pairs that lie there and print the figures")
    parser.add_argument("--sheet", type=Path, metavar="FILE",
                        help="draw masks, cut-outs and a face's points of the sample photograph")
    return parser.parse_args()


if __name__ == "__main__":
    sys.exit(main())
