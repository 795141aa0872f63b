"""One table of what was measured, what it is compared with, and what it aims at."""

from __future__ import annotations

from dataclasses import dataclass


@dataclass(frozen=True)
class Row:
    """One measurement. `figure` is what the aim speaks of: a ratio, or a plain figure."""

    what: str
    ours: str
    beside: str
    figure: float
    limit: float | None = None  # shown without an aim, so that a change is seen
    at_least: bool = False  # the limit is the least, not the most
    unit: str = ""

    @property
    def verdict(self) -> str:
        if self.limit is None:
            return "-"
        is_met = self.figure >= self.limit if self.at_least else self.figure <= self.limit
        return "yes" if is_met else "NO"

    def cells(self) -> tuple[str, ...]:
        sign = ">=" if self.at_least else "<="
        aim = "-" if self.limit is None else f"{sign} {self.limit:g}{self.unit}"
        figure = f"{self.figure:.3g}{self.unit}" if self.figure < 1e4 else f"{self.figure:.2e}"
        return (self.what, self.ours, self.beside, figure, aim, self.verdict)


HEAD = ("what", "ours", "beside", "figure", "aim", "met")


def printed(rows: list[Row]) -> str:
    """The table as text."""
    lines = [HEAD, *(row.cells() for row in rows)]
    widths = [max(len(line[column]) for line in lines) for column in range(len(HEAD))]
    text = ["  ".join(f"{cell:<{width}}" for cell, width in zip(line, widths)) for line in lines]
    text.insert(1, "  ".join("-" * width for width in widths))
    return "\n".join(line.rstrip() for line in text)
