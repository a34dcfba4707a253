#!/usr/bin/env python3
"""Reads (and optionally writes) maintenance registers of a RapidIO target through Norvanta's
automation interface on the D-Bus session bus.

Norvanta must serve the interface: the window does while it runs, `norvanta --automation` does
without a window, and after `norvanta --register` the session bus starts it on the first call.

    norvanta_client.py [--dest ID] [--hop N] [--port P] [--write VALUE] OFFSET [COUNT]

OFFSET, ID and VALUE are numbers: decimal, 0x... or ...h for hexadecimal. Without --dest the host's
own device is read (destination ID 0xFFFFFFFF). Exit status 0 on success, 1 when Norvanta refuses
the call (its status and text are printed), 2 for bad arguments or no Norvanta on the bus.
"""
import argparse
import sys

import dbus

SERVICE = "com.halvorn.Norvanta"
OBJECT_PATH = "/com/halvorn/Norvanta/Automation"
IAUTOMATION = "com.halvorn.Norvanta.IAutomation"
ERROR_PREFIX = "com.halvorn.Norvanta.Error.Status"
HOST_ITSELF = 0xFFFFFFFF


def number(text):
    """A number as RapidIO engineers write them: 1234, 0x4d2 or 4D2h."""
    text = text.strip().replace("_", "")
    if text[-1:] in ("h", "H"):
        return int(text[:-1], 16)
    return int(text, 0)


def status_of(error):
    """The client status of a Norvanta error (negative), or None for any other D-Bus error."""
    name = error.get_dbus_name() or ""
    if name.startswith(ERROR_PREFIX):
        return -int(name[len(ERROR_PREFIX):])
    return None


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("offset", type=number, help="register offset")
    parser.add_argument("count", type=number, nargs="?", default=1, help="number of 32-bit words")
    parser.add_argument("--dest", type=number, default=HOST_ITSELF, help="destination ID")
    parser.add_argument("--hop", type=number, default=0, help="hop count")
    parser.add_argument("--port", type=number, default=0, help="local port of the host")
    parser.add_argument("--write", type=number, metavar="VALUE", help="write VALUE before reading")
    args = parser.parse_args()

    try:
        bus = dbus.SessionBus()
        norvanta = dbus.Interface(bus.get_object(SERVICE, OBJECT_PATH), IAUTOMATION)
        version = norvanta.GetVersionString()
    except dbus.exceptions.DBusException as error:
        print(f"Norvanta does not answer on the session bus: {error.get_dbus_message()}", file=sys.stderr)
        return 2
    print(f"Norvanta {version}, {'connected' if norvanta.IsConnected() else 'not connected'}")

    try:
        if args.write is not None:
            # The data of a write is an array in a variant: 'u' elements are taken as 32-bit words.
            data = dbus.Array([args.write & 0xFFFFFFFF], signature="u")
            norvanta.MaintWrite(args.port, args.dest, args.hop, args.offset, 1, data, 4)
        words = norvanta.MaintRead(args.port, args.dest, args.hop, args.offset, args.count, 4)
    except dbus.exceptions.DBusException as error:
        status = status_of(error)
        if status is None:
            print(f"D-Bus error {error.get_dbus_name()}: {error.get_dbus_message()}", file=sys.stderr)
            return 2
        # The object keeps the failure: GetLastError gives the status negated.
        print(f"Norvanta refused: status {status}: {error.get_dbus_message()} "
              f"(GetLastError {int(norvanta.GetLastError())})", file=sys.stderr)
        return 1

    for index, word in enumerate(words):
        print(f"{args.offset + 4 * index:06X}h: 0x{int(word) & 0xFFFFFFFF:08X}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
