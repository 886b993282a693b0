#!/usr/bin/env python3
"""Hands a header to doxygen in doxygen's own terms, so that the header itself stays plain text.

- What it declares belongs to its family. The comment above `#pragma once` is the file's. In headers for C every comment is documentation.
- The labels Units, Ownership, Errors and Threads become paragraphs of their own.
- A comment holds for the overloads below it too, up to the next blank line or to a comment of their own. One that begins
  with "All" holds for every declaration up to the blank line, besides their own comments.
- What has no comment because its name and class say all gets a sentence: constructors, destructors, operators, iterator
  pairs and questions. Nothing else does: doxygen complains of the rest.
- Definitions of members behind their class are left out: the class has told them.
"""
import re
import sys

LABEL = re.compile(r"^(\s*(?:///|\*|/\*\*)\s)(Units|Ownership|Errors|Threads):\s+")
SCOPE = re.compile(r"(template\s*<.*>\s*)?(typedef\s+)?((class|struct|union|enum|namespace)\b|extern \"\")")
SPECIFIERS = re.compile(r"\[\[.*?\]\]|\bOSTREL_EXPORT\b|\b(explicit|virtual|constexpr|inline|static)\b")
NAME = re.compile(r"(operator\s*(?:\(\)|[^\s(]+)|~?\w+)\s*\(")


def as_documentation(lines):
    """Headers for C have plain comments, which doxygen would not read."""
    for line in lines:
        line = re.sub(r"^(\s*)/\*(?!\*)", r"\1/**", line)
        yield re.sub(r"(\S\s+)/\*(?!\*)", r"\1/**<", line)


def claim_file_comment(lines, at):
    """Puts the command that makes the first comment the file's in the place of `#pragma once`."""
    if lines[at - 1].startswith("///"):
        lines[at] = "/// \\file"
    else:
        lines[at - 1] = lines[at - 1].replace("*/", "")
        lines[at] = " * \\file */"


def code_of(line):
    """The line without texts and comments, so that what is left can be counted."""
    line = re.sub(r'"(\\.|[^"\\])*"|\'(\\.|[^\'\\])*\'', '""', line)
    return re.sub(r"/\*.*?\*/|/[/*].*", "", line).strip()


def is_complete(code):
    balanced = code.count("(") == code.count(")") and code.count("{") == code.count("}")
    return balanced and code.endswith((";", "}")) or opens_scope(code)


def opens_scope(code):
    return code.endswith("{") and SCOPE.match(SPECIFIERS.sub("", code).strip()) is not None


def parts_of(lines):
    """The header as ("comment" | "gap" | "declaration" | "other", lines)."""
    i, in_enum = 0, False
    while i < len(lines):
        start, line, code = i, lines[i].strip(), code_of(lines[i])
        kind = "other"
        i += 1
        if re.match(r"//[/](?!<)|/\*\*(?!<)", line):
            kind = "comment"
            while line.startswith("/**") and "*/" not in lines[i - 1]:
                i += 1
        elif line.startswith("#"):
            kind = "declaration" if line.startswith("#define") else "other"
            while lines[i - 1].endswith("\\"):
                i += 1
        elif not line:
            kind = "gap"
        elif in_enum or not code or code.startswith("}") or code in ("public:", "protected:", "private:"):
            in_enum = in_enum and not code.startswith("}")
        else:
            while i < len(lines) and not is_complete(code):
                code = (code + " " + code_of(lines[i])).strip()
                i += 1
            kind = "gap" if opens_scope(code) else "declaration"
            in_enum = kind == "gap" and re.search(r"\benum\b", code) is not None
        yield kind, lines[start:i]


def first_paragraph(comment):
    texts = [re.sub(r"^\s*(///|/\*\*|\*(?!/))?\s?", "", line).replace("*/", "").strip() for line in comment]
    return " ".join(texts[:texts.index("")] if "" in texts else texts).strip()


def say_name(before, name, arguments):
    """The sentence for a name that says all, empty where it does not."""
    if name.startswith("~"):
        return "Destructor."
    if name.startswith("operator"):
        return "As the operator says." if re.match(r"operator\s*(==|!=|\+\+|--|->|\*|=|bool)$", name) else ""
    if not before and name[0].isupper():
        copied = re.match(rf"(const )?{name}\s*&&?", arguments)
        return ("Copies." if copied[1] else "Moves.") if copied else "Made as the class tells."
    question = re.match(r"(is|has)([A-Z]\w*)$" if arguments else r"(get|is|has)([A-Z]\w*)$", name)
    if question:
        words = re.sub(r"[A-Z]", lambda match: " " + match[0].lower(), question[2]).strip()
        return f"The {words}." if question[1] == "get" else f"Whether it {question[1]} {words}."
    return "For loops over all." if name in ("begin", "end") and not arguments else ""


class Block:
    """Declarations without a blank line between them, and what the comments say about several of them."""

    def __init__(self):
        self._of_all = ""
        self._of_name = {}

    def document(self, comment, declaration):
        """The declaration with its comment and with what else is to be said about it."""
        text = " ".join(map(code_of, declaration))
        text = SPECIFIERS.sub("", re.sub(r"^template\s*<.*?>\s(?=\S)", "", text)).strip()
        found = re.match(r"()#define (\w+)", text) or re.match(r"(.*?)" + NAME.pattern, text)
        name = found[2] if found else ""
        if found and found[1].endswith("::"):
            return []
        if comment:
            own = first_paragraph(comment)
            if own.startswith("All "):
                self._of_all = own
            else:
                self._of_name[name] = own
                return comment + self._in_front(self._of_all) + declaration
            return comment + declaration
        if not found or text.startswith("using "):
            return declaration
        if re.search(r"=\s*delete;", text):
            return self._in_front("Deleted.") + declaration
        said = self._of_all or self._of_name.get(name, "")
        if not said and not re.search(r"\boverride\b", text) and not re.search(r"///<|/\*\*<", declaration[-1]):
            said = say_name(found[1].strip(), name, text[found.end():].split(")")[0].strip())
        return self._in_front(said) + declaration

    @staticmethod
    def _in_front(text):
        return [f"/** {text} */"] if text else []


def filtered(lines):
    block, comment = Block(), []
    for kind, part in parts_of(lines):
        if kind == "comment":
            comment += part
            continue
        yield from block.document(comment, part) if kind == "declaration" else comment + part
        comment = []
        if kind == "gap":
            block = Block()
    yield from comment


def family_of(path, groups):
    """The group of the header in the page that the build made: "\\file HEADER", "\\ingroup FAMILY"."""
    with open(groups, encoding="utf-8") as page:
        families = dict(re.findall(r"\\file (\S+)\s+\* \\ingroup (\w+)", page.read()))
    return next(family for header, family in families.items() if ("/" + path).endswith("/" + header))


def in_group(family, lines):
    """Groups do not reach into namespaces, so each has its own."""
    begin, end = f"\n/** \\addtogroup {family}\n * @{{ */", "/** @} */"
    outside = True
    for line in lines:
        if line.startswith("} // namespace"):
            yield end
        yield line
        if line.startswith("namespace ") or outside and line == "":
            yield begin
            outside = False
    yield end


def main(groups, path):
    with open(path, encoding="utf-8") as header:
        lines = header.read().splitlines()
    if lines[0].startswith("/*"):
        lines = list(as_documentation(lines))
    at = lines.index("#pragma once")
    if at > 0:
        claim_file_comment(lines, at)
    lines.insert(at + 1, "")
    for line in in_group(family_of(path, groups), filtered(lines)):
        print(LABEL.sub(r"\1\\labelled{\2} ", line))


main(*sys.argv[1:])
