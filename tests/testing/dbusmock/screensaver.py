'''A session's screen saver for python3-dbusmock: org.freedesktop.ScreenSaver's Inhibit and
UnInhibit, with the inhibitions listed by the mock's ListInhibitions. Like the desktops' own
screen savers, it drops the inhibitions of a client that leaves the bus.'''

import dbus

from dbusmock import MOCK_IFACE

BUS_NAME = 'org.freedesktop.ScreenSaver'
MAIN_OBJ = '/org/freedesktop/ScreenSaver'
MAIN_IFACE = 'org.freedesktop.ScreenSaver'
SYSTEM_BUS = False


def load(mock, _parameters):
    mock.inhibitions = {}
    mock.last_cookie = 0
    mock.watches = {}


def forget_client(mock, client):
    for cookie in [c for c, (owner, _, _) in mock.inhibitions.items() if owner == client]:
        del mock.inhibitions[cookie]
    mock.watches.pop(client).cancel()


@dbus.service.method(MAIN_IFACE, in_signature='ss', out_signature='u', sender_keyword='sender')
def Inhibit(self, application, reason, sender):
    self.last_cookie += 1
    self.inhibitions[self.last_cookie] = (sender, application, reason)
    if sender not in self.watches:
        def owner_changed(owner, client=sender):
            if not owner and client in self.watches:
                forget_client(self, client)
        self.watches[sender] = self.connection.watch_name_owner(sender, owner_changed)
    return dbus.UInt32(self.last_cookie)


@dbus.service.method(MAIN_IFACE, in_signature='u', out_signature='', sender_keyword='sender')
def UnInhibit(self, cookie, sender):
    if cookie not in self.inhibitions or self.inhibitions[cookie][0] != sender:
        raise dbus.exceptions.DBusException(f'no inhibition {cookie} of {sender}',
                                            name='org.freedesktop.DBus.Error.InvalidArgs')
    del self.inhibitions[cookie]


@dbus.service.method(MOCK_IFACE, in_signature='', out_signature='a(uss)')
def ListInhibitions(self):
    return dbus.Array([(dbus.UInt32(cookie), application, reason)
                       for cookie, (_, application, reason) in sorted(self.inhibitions.items())],
                      signature='(uss)')
