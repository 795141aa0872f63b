"""Makes every system call of a whole conversion fail, one at a time; scripts/inject-faults runs it."""
