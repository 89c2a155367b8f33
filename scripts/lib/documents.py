"""The fenced blocks of documents, and the commands in them."""

import re


class Block:
    """A block, with its line in the document, the words behind its fence, and the comment that stands before it."""

    def __init__(self, line, words, text, remark):
        self.line, self.words, self.text, self.remark = line, words, text, remark


def blocks_of(document):
    """Fenced blocks, and indented ones as such of no language, each with the comment before it."""
    lines = document.read_text().split("\n")
    remark, number = "", 0
    while number < len(lines):
        line = lines[number]
        fence = re.fullmatch(r"```(.*)", line)
        if fence:
            end = lines.index("```", number + 1)
            yield Block(number + 1, fence[1].split(), lines[number + 1:end], remark)
            number, remark = end, ""
        elif line.startswith("    ") and not lines[number - 1].strip() and lines[number].strip():
            end = next(i for i in range(number, len(lines)) if not lines[i].startswith("    "))
            yield Block(number + 1, ["indented"], lines[number:end], remark)
            number, remark = end - 1, ""
        elif line.strip():
            comment = re.fullmatch(r"<!-- (.*) -->", line)
            remark = comment[1] if comment else ""
        number += 1


def unfolded(lines):
    """Lines, each joined with those that it goes on in behind a backslash."""
    lines = iter(lines)
    for line in lines:
        while line.endswith("\\"):
            line = line[:-1] + next(lines).strip()
        yield line
