"""Text records as a bank exports them: the same bytes for the same size, on every machine.

Amounts, dates, names and references vary as they do in real exports, so that `zip` shrinks them to
about half their size.
"""

from __future__ import annotations

import random
from pathlib import Path

SEED = 20240229
RECORDS_AT_ONCE = 4096

FIRST_NAMES = (
    "Alice Bernard Chandra Dolores Emil Farida Giorgos Hanna Ismail Jolana Keiko Lars Marisol Nadia "
    "Oskar Paulina Quentin Rosalind Sven Tomasz Ulrike Viktor Wanda Ximena Yusuf Zora"
).split()
LAST_NAMES = (
    "Abbott Brennan Castillo Dvorak Eriksen Ferrari Grunwald Haddad Iversen Jankowski Kowalczyk "
    "Lindqvist Moreau Novak Okafor Petrov Quigley Rasmussen Schubert Takahashi Ullman Vasquez "
    "Whitfield Xu Yamamoto Zielinski"
).split()
PLACES = (
    "Harbour Mill Corner Station Garden River Castle Market Union Northern Golden Silver Royal "
    "Central Bridge Chapel"
).split()
TRADES = (
    "Bakery Pharmacy Grocers Books Hardware Fuel Airlines Hotel Cinema Telecom Insurance Electric "
    "Water Gym Florist Optician"
).split()
KINDS = ("DEBIT", "CREDIT", "CHECK", "ATM", "POS", "XFER", "FEE", "INT")
REFERENCE = "ABCDEFGHJKLMNPQRSTUVWXYZ0123456789"


def record(random_: random.Random, balance: float) -> tuple[str, float]:
    """One line, and the balance after it."""
    draw = random_.random
    amount = round(random_.expovariate(1 / 180) * (1 if draw() < 0.3 else -1), 2)
    balance = round(balance + amount, 2) if abs(balance) < 1e6 else 0.0
    day = f"{2015 + int(draw() * 10)}{1 + int(draw() * 12):02}{1 + int(draw() * 28):02}"
    second = int(draw() * 86400)
    clock = f"{second // 3600:02}{second // 60 % 60:02}{second % 60:02}"
    reference = "".join(random_.choices(REFERENCE, k=20))
    person = f"{random_.choice(FIRST_NAMES)} {random_.choice(LAST_NAMES)}"
    payee = f"{random_.choice(PLACES)} {random_.choice(TRADES)}"
    account = int(draw() * 10**10)
    line = (
        f"{day}{clock},{random_.choice(KINDS)},{amount:.2f},{balance:.2f},"
        f"{reference},{account:010},{payee if draw() < 0.6 else person}\n"
    )
    return line, balance


def write_records(path: Path, size: int) -> None:
    """Writes at least `size` bytes of whole records."""
    random_ = random.Random(SEED)
    balance = 2500.0
    written = 0
    with path.open("w", encoding="ascii") as file:
        while written < size:
            lines = []
            for _ in range(RECORDS_AT_ONCE):
                line, balance = record(random_, balance)
                lines.append(line)
            written += file.write("".join(lines))
