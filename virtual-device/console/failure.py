"""What can go wrong for the person at the console."""


class Failure(Exception):
    """Something that the person at the console is told as "error REASON"."""


class DeviceOff(Failure):
    """The device is off, or went off before it answered."""
