"""Names the lines in gcovr's JSON report that no test reaches and tests/uncovered.txt gives no reason for."""
import json
import sys


def read_uncovered(report):
    for file in report["files"]:
        with open(file["file"]) as source:
            texts = [line.strip() for line in source]
        counts = {}
        for line in file["lines"]:  # a template's line has an entry for each instance
            if not line["gcovr/noncode"]:
                number = line["line_number"]
                counts[number] = counts.get(number, 0) + line["count"]
        for number in sorted(number for number, count in counts.items() if count == 0):
            yield f"{file['file']}:{number}", f"{file['file']}: {texts[number - 1]}"


def main():
    with open("tests/uncovered.txt") as file:
        accepted = set(file.read().splitlines())
    with open(sys.argv[1]) as file:
        report = json.load(file)
    for place, entry in read_uncovered(report):
        if entry not in accepted:
            print(f"{place}: no test, and no reason in tests/uncovered.txt: {entry.split(': ', 1)[1]}")


main()
