'''A desktop portal for python3-dbusmock that offers only org.freedesktop.portal.Inhibit. Each
Inhibit call answers with a request object of its own, whose org.freedesktop.portal.Request.Close
ends the inhibition; like the real portal, it also ends the inhibitions of a caller that leaves
the bus. The mock's ListInhibitions lists every call ever made, with its flags, its reason and
how it stands: "held", "closed" or "callerLeft".'''

import dbus

from dbusmock import MOCK_IFACE

BUS_NAME = 'org.freedesktop.portal.Desktop'
MAIN_OBJ = '/org/freedesktop/portal/desktop'
MAIN_IFACE = 'org.freedesktop.portal.Inhibit'
SYSTEM_BUS = False

REQUEST_IFACE = 'org.freedesktop.portal.Request'
REQUEST_FOLDER = '/org/freedesktop/portal/desktop/request/'


def load(mock, _parameters):
    mock.inhibitions = []
    mock.watches = {}


def end(mock, inhibition, state):
    if inhibition['state'] == 'held':
        inhibition['state'] = state


def caller_left(mock, caller):
    for inhibition in mock.inhibitions:
        if inhibition['caller'] == caller:
            end(mock, inhibition, 'callerLeft')
    mock.watches.pop(caller).cancel()


@dbus.service.method(MAIN_IFACE, in_signature='sua{sv}', out_signature='o', sender_keyword='sender')
def Inhibit(self, _window, flags, options, sender):
    inhibition = {'caller': sender, 'flags': int(flags), 'reason': str(options.get('reason', '')),
                  'state': 'held'}
    self.inhibitions.append(inhibition)
    handle = REQUEST_FOLDER + str(len(self.inhibitions))

    def close(_request):
        end(self, inhibition, 'closed')

    self.AddObject(handle, REQUEST_IFACE, {}, [('Close', '', '', close)])
    if sender not in self.watches:
        def owner_changed(owner, caller=sender):
            if not owner and caller in self.watches:
                caller_left(self, caller)
        self.watches[sender] = self.connection.watch_name_owner(sender, owner_changed)
    return dbus.ObjectPath(handle)


@dbus.service.method(MOCK_IFACE, in_signature='', out_signature='a(uss)')
def ListInhibitions(self):
    return dbus.Array([(dbus.UInt32(inhibition['flags']), inhibition['reason'],
                        inhibition['state']) for inhibition in self.inhibitions],
                      signature='(uss)')
