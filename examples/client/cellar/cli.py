"""Command line: python -m cellar.cli LOG get|put|delete KEY [VALUE]."""

import sys

from cellar.client import Client, CellarError


def main(argv):
    if len(argv) < 3:
        print(__doc__, file=sys.stderr)
        return 2
    log_path, command, key = argv[0], argv[1], argv[2]
    with Client(log_path) as db:
        try:
            if command == "get":
                value = db.get(key)
                if value is None:
                    return 1
                print(value)
            elif command == "put" and len(argv) == 4:
                db.put(key, argv[3])
            elif command == "delete":
                db.delete(key)
            else:
                print(__doc__, file=sys.stderr)
                return 2
        except CellarError as error:
            print("cellar: %s" % error, file=sys.stderr)
            return 1
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
