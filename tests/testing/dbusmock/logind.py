'''python3-dbusmock's logind, with what the keep-awake tests need beyond it: each inhibitor lock
shows the user and the process of the connection that took it, as logind's own do; the mock's
RefuseLock makes logind refuse a kind of lock as polkit refuses them to a session it
does not trust; the mock's ListInteractiveAuthorizations tells, call by call, whether the caller
of Inhibit let polkit ask the user; and the Manager has the LidClosed property, false until a
test sets it.'''

import os

import dbus

from dbusmock import MOCK_IFACE, mockobject
from dbusmock.templates import logind
from dbusmock.templates.logind import *  # noqa: F401,F403 pylint: disable=wildcard-import
from gi.repository import GLib

BUS_NAME = logind.BUS_NAME
MAIN_OBJ = logind.MAIN_OBJ
MAIN_IFACE = logind.MAIN_IFACE
SYSTEM_BUS = True

DBUS_NAME = 'org.freedesktop.DBus'


def load(mock, parameters):
    logind.load(mock, parameters)
    mock.AddProperty(MAIN_IFACE, 'LidClosed', dbus.Boolean(False))
    mock.refused_locks = set()
    mock.interactive_authorizations = []
    mockobject.inhibitors = []


def caller_credentials(connection, sender):
    bus = connection.get_object(DBUS_NAME, '/org/freedesktop/DBus')
    return (bus.GetConnectionUnixUser(sender, dbus_interface=DBUS_NAME),
            bus.GetConnectionUnixProcessID(sender, dbus_interface=DBUS_NAME))


@dbus.service.method(MAIN_IFACE, in_signature='ssss', out_signature='h', sender_keyword='sender',
                     message_keyword='message')
def Inhibit(self, what, who, why, mode, sender, message):
    self.interactive_authorizations.append(bool(message.get_allow_interactive_authorization()))
    if what in self.refused_locks:
        raise dbus.exceptions.DBusException('Permission denied',
                                            name='org.freedesktop.DBus.Error.AccessDenied')
    uid, pid = caller_credentials(self.connection, sender)
    inhibitor = (what, who, why, mode, dbus.UInt32(uid), dbus.UInt32(pid))
    mockobject.inhibitors.append(inhibitor)
    # logind holds the lock while the caller keeps its end of the pipe open.
    held, given = os.pipe()

    def dropped(descriptor, _condition):
        os.close(descriptor)
        mockobject.inhibitors.remove(inhibitor)
        return False

    GLib.unix_fd_add_full(GLib.PRIORITY_HIGH, held, GLib.IO_HUP, dropped)
    GLib.idle_add(os.close, given)
    return given


@dbus.service.method(MOCK_IFACE, in_signature='', out_signature='ab')
def ListInteractiveAuthorizations(self):
    return dbus.Array(self.interactive_authorizations, signature='b')


@dbus.service.method(MOCK_IFACE, in_signature='s', out_signature='')
def RefuseLock(self, kind):
    self.refused_locks.add(str(kind))
