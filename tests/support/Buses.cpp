#include "support/Buses.h"

#include <cstdlib>

#include "support/Eventually.h"

namespace kestrel::test {

namespace {

bool appears(const fs::path &file)
{
    return eventually([&] { return fs::exists(file); });
}

} // namespace

Buses::Buses()
{
    if (!shell("/usr/bin/python3 -c 'import dbusmock' 2>/dev/null && command -v dbus-daemon >/dev/null"))
        m_problem = "needs dbus-daemon and python3-dbusmock";
    else if (!startBus("DBUS_SESSION_BUS_ADDRESS", "session") ||
             !startBus("DBUS_SYSTEM_BUS_ADDRESS", "system"))
        m_problem = "no message bus can be started";
}

void Buses::runInBackground(const std::string &command)
{
    const std::vector<std::string> words{"-c", "exec " + command + " >/dev/null"}; // nobody reads its pipe
    m_background.push_back(std::make_unique<ChildProcess>("/bin/sh", words));
}

std::string Buses::address(const std::string &bus) const
{
    return "unix:path=" + (m_folder / (bus + ".socket")).native();
}

bool Buses::startBus(const char *variable, const std::string &name)
{
    ::setenv(variable, address(name).c_str(), 1);
    runInBackground("dbus-daemon --session --nofork --nopidfile --address=" + address(name) + " 2>/dev/null");
    return appears(m_folder / (name + ".socket"));
}

bool Buses::serve(const std::string &bus, const std::string &name, const std::string &path,
                  const std::string &interface, const std::vector<std::string> &methods)
{
    std::string script = "import dbus, dbusmock\nimport dbus.mainloop.glib\nfrom gi.repository import GLib\n"
                         "dbus.mainloop.glib.DBusGMainLoop(set_as_default=True)\n"
                         "bus = dbus.bus.BusConnection('" +
                         address(bus) + "')\nname = dbus.service.BusName('" + name +
                         "', bus)\nmock = dbusmock.mockobject.DBusMockObject(name, '" + path + "', '" +
                         interface + "', {}, logfile='" + (m_folder / (name + ".log")).native() + "')\n";
    for (const auto &method : methods)
        script += "mock.AddMethod('" + interface + "', " + method + ")\n";
    const fs::path ready = m_folder / (name + ".ready");
    script += "open('" + ready.native() + "', 'w')\nGLib.MainLoop().run()\n";
    runInBackground("/usr/bin/python3 " + quoted(m_folder.write(name + ".py", script)) + " 2> " +
                    quoted(m_folder / (name + ".err")));
    return appears(ready);
}

bool Buses::serveSessionManager()
{
    return serve("session", "org.gnome.SessionManager", "/org/gnome/SessionManager",
                 "org.gnome.SessionManager",
                 {"'Inhibit', 'susu', 'u', 'ret = 77'", "'Uninhibit', 'u', '', ''"});
}

int Buses::calls(const std::string &name, const std::string &method) const
{
    const std::string text = log(name);
    int count = 0;
    for (std::size_t at = 0; (at = text.find(" " + method + " ", at)) != std::string::npos; ++at)
        ++count;
    return count;
}

} // namespace kestrel::test
