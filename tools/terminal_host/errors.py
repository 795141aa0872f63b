"""What can go wrong on the host's side of a conversion."""


class HostError(Exception):
    """The conversion could not be started; the message says why, in words for the user."""


class EndedEarly(Exception):
    """The program ended before what was waited for; the message tells all that it reported."""
