"""Makes every system call of a whole conversion fail, one at a time, for scripts/inject-faults."""
