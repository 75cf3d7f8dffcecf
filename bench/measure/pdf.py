"""What poppler says of a PDF."""

import collections
import re
import subprocess


def page_count(pdf):
    text = subprocess.run(['pdfinfo', str(pdf)], check=True, capture_output=True, text=True).stdout
    return int(re.search(r'^Pages: *(\d+)', text, re.MULTILINE)[1])


def words(pdf):
    text = subprocess.run(['pdftotext', str(pdf), '-'], check=True, capture_output=True).stdout.decode(errors='replace')
    return collections.Counter(text.split())


def different_words(one, other):
    """How many words are in only one of the two."""
    mine, theirs = words(one), words(other)
    return (mine - theirs).total() + (theirs - mine).total(), mine.total()
