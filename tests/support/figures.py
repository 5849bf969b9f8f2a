"""What the checks that are scripts reach, told in figures; figures.h does the same for those that are programs."""

import os


def tell(subject, reached, least):
    """Tells a figure and what it has to be at least, and adds the line to those of this run."""
    line = f"{subject}: {reached} (at least {least})"
    print(line)
    if os.environ.get("QOR_FIGURES"):
        with open(os.environ["QOR_FIGURES"], "a") as figures:
            figures.write(line + "\n")
