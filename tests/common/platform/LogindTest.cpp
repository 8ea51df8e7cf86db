// Shut down and restart against python-dbusmock's logind on a private bus daemon,
// never the machine's own logind.
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include "app/Application.hpp"
#include "app/FrmMain.hpp"
#include "cleaning/Completion.hpp"
#include "common/platform/linux/LinuxPlatform.hpp"
#include "common/platform/linux/Logind.hpp"
#include "common/registry/RegistryTree.hpp"
#include "support/ScriptedHost.hpp"
#include "support/TempDir.hpp"
#include "support/TestProcess.hpp"

extern char** environ;

namespace velloran::test {

namespace fs = std::filesystem;

namespace {

std::string FindProgram(const std::string& name) {
    const char* path = std::getenv("PATH");
    std::stringstream dirs(path ? path : "/usr/bin:/bin");
    for (std::string dir; std::getline(dirs, dir, ':');)
        if (!dir.empty() && access((dir + "/" + name).c_str(), X_OK) == 0) return dir + "/" + name;
    return {};
}

// Starts argv with stdout and stderr going to `outFd` (or a file); -1 on failure.
pid_t Spawn(const std::vector<std::string>& args, int outFd,
            const std::vector<std::string>& extraEnv) {
    std::vector<char*> argv;
    for (const auto& a : args) argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    std::vector<std::string> envStore;
    for (char** e = environ; *e; ++e) envStore.emplace_back(*e);
    envStore.insert(envStore.end(), extraEnv.begin(), extraEnv.end());
    std::vector<char*> envp;
    for (auto& e : envStore) envp.push_back(e.data());
    envp.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, outFd, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, outFd, STDERR_FILENO);
    pid_t pid = -1;
    if (posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), envp.data()) != 0) pid = -1;
    posix_spawn_file_actions_destroy(&actions);
    return pid;
}

void Stop(pid_t& pid) {
    if (pid <= 0) return;
    kill(pid, SIGTERM);
    waitpid(pid, nullptr, 0);
    pid = -1;
}

bool NameHasOwner(const std::string& address, const char* name) {
    sd_bus* bus = nullptr;
    if (sd_bus_new(&bus) < 0) return false;
    bool owned = false;
    if (sd_bus_set_address(bus, address.c_str()) >= 0 && sd_bus_set_bus_client(bus, 1) >= 0 &&
        sd_bus_start(bus) >= 0) {
        sd_bus_message* reply = nullptr;
        int has = 0;
        if (sd_bus_call_method(bus, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                               "org.freedesktop.DBus", "NameHasOwner", nullptr, &reply, "s",
                               name) >= 0 &&
            sd_bus_message_read(reply, "b", &has) >= 0)
            owned = has != 0;
        sd_bus_message_unref(reply);
    }
    sd_bus_flush_close_unref(bus);
    return owned;
}

// Replaces a mocked logind method with one that refuses, as polkit does when it
// would have to ask.
bool MakeRefuse(const std::string& address, const char* method) {
    sd_bus* bus = nullptr;
    if (sd_bus_new(&bus) < 0) return false;
    bool ok = sd_bus_set_address(bus, address.c_str()) >= 0 && sd_bus_set_bus_client(bus, 1) >= 0 &&
              sd_bus_start(bus) >= 0 &&
              sd_bus_call_method(
                  bus, "org.freedesktop.login1", "/org/freedesktop/login1",
                  "org.freedesktop.DBus.Mock", "AddMethod", nullptr, nullptr, "sssss",
                  "org.freedesktop.login1.Manager", method, "b", "",
                  "raise dbus.exceptions.DBusException('Interactive authentication required.', "
                  "name='org.freedesktop.DBus.Error.InteractiveAuthorizationRequired')") >= 0;
    sd_bus_flush_close_unref(bus);
    return ok;
}

}  // namespace

class LogindTest : public ::testing::Test {
protected:
    void SetUp() override {
        const std::string daemon = FindProgram("dbus-daemon");
        if (daemon.empty()) GTEST_SKIP() << "dbus-daemon is not installed (package dbus)";
        for (const std::string& candidate :
             {std::string("/usr/bin/python3"), FindProgram("python3")}) {
            if (candidate.empty() || access(candidate.c_str(), X_OK) != 0) continue;
            const std::string probe = candidate + " -c 'import dbusmock' >/dev/null 2>&1";
            if (std::system(probe.c_str()) == 0) {
                python_ = candidate;
                break;
            }
        }
        if (python_.empty()) GTEST_SKIP() << "python3-dbusmock is not installed";

        dir_ = test::MakeTempDir("velloran-bus");

        int pipeFds[2];
        ASSERT_EQ(pipe(pipeFds), 0);
        daemon_ = Spawn({daemon, "--session", "--nofork", "--nopidfile",
                         "--address=unix:path=" + (dir_ / "bus").string(), "--print-address=1"},
                        pipeFds[1], {});
        close(pipeFds[1]);
        ASSERT_GT(daemon_, 0);
        std::string line;
        char c;
        while (read(pipeFds[0], &c, 1) == 1 && c != '\n') line += c;
        close(pipeFds[0]);
        ASSERT_FALSE(line.empty()) << "dbus-daemon printed no address";
        address_ = line;
    }

    void StartLogind() {
        const fs::path out = dir_ / "mock.out";
        FILE* f = std::fopen(out.c_str(), "w");
        ASSERT_NE(f, nullptr);
        mock_ = Spawn({python_, "-m", "dbusmock", "--template", "logind", "--logfile",
                       (dir_ / "calls.log").string()},
                      fileno(f), {"DBUS_SYSTEM_BUS_ADDRESS=" + address_});
        std::fclose(f);
        ASSERT_GT(mock_, 0);
        // Wait until the mock owns the name; calls sent after that are queued until
        // its template is loaded.
        for (int i = 0; i < 600 && !NameHasOwner(address_, "org.freedesktop.login1"); ++i) {
            int status = 0;
            ASSERT_EQ(waitpid(mock_, &status, WNOHANG), 0) << "the mock ended: " << ReadAll(out);
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
        ASSERT_TRUE(NameHasOwner(address_, "org.freedesktop.login1")) << ReadAll(out);
    }

    void TearDown() override {
        Stop(mock_);
        Stop(daemon_);
        if (!dir_.empty()) fs::remove_all(dir_);
    }

    // Logged calls of the mock: one "TIME Method args" line each.
    std::vector<std::string> Calls() {
        std::vector<std::string> out;
        std::stringstream log(ReadAll(dir_ / "calls.log"));
        for (std::string line; std::getline(log, line);)
            if (auto sp = line.find(' '); sp != std::string::npos)
                out.push_back(line.substr(sp + 1));
        return out;
    }

    std::string python_;
    fs::path dir_;
    std::string address_;
    pid_t daemon_ = -1;
    pid_t mock_ = -1;
};

TEST_F(LogindTest, RunEndsWithPowerOffOrRebootOnTheBus) {
    ScriptedHost host;
    LinuxPlatform platform{Target{}};
    platform.systemBusAddress = address_;
    MemoryStore registry;
    Application app(host, platform);
    app.SetRegistry(&registry);
    FrmMain& main = app.Main();
    main.Form_Initialize();
    main.Load();

    // No logind on the bus: the request fails and the program simply goes on.
    std::string why;
    EXPECT_FALSE(linuxfs::RequestPowerAction(linuxfs::PowerAction::PowerOff, address_, &why));
    EXPECT_FALSE(why.empty());
    main.stChk(Option::NoNotify).UserClick();  // no message
    main.stChk(Option::ShutDown).UserClick();  // shut down when done
    EXPECT_NO_THROW(SuccessMsgBox(app, "Done", vbInformation, app.Main().CurrentOptions()));
    EXPECT_TRUE(main.IsLoaded());

    StartLogind();
    if (HasFatalFailure()) return;
    // A registry-only task, so that the run touches nothing outside its memory store.
    main.oprg_chk(9).UserClick();
    main.cmdClean.UserClick();
    EXPECT_EQ(host.shown, (std::vector<std::string>{"FrmCleaner"}));
    EXPECT_TRUE(host.boxes.empty());
    EXPECT_EQ(Calls(), (std::vector<std::string>{"PowerOff False"}));
    EXPECT_TRUE(main.IsLoaded()) << "the system ends the program, not the request";

    main.stChk(Option::Restart).UserClick();  // restart instead
    EXPECT_EQ(main.stChk(Option::ShutDown).Value(), 0);
    main.cmdClean.UserClick();
    EXPECT_EQ(Calls(), (std::vector<std::string>{"PowerOff False", "Reboot False"}));

    // A refusal (authentication would be needed) is ignored: no report, window kept.
    ASSERT_TRUE(MakeRefuse(address_, "Reboot"));
    EXPECT_FALSE(linuxfs::RequestPowerAction(linuxfs::PowerAction::Reboot, address_, &why));
    EXPECT_NE(why.find("Interactive authentication required"), std::string::npos) << why;
    main.cmdClean.UserClick();
    EXPECT_TRUE(host.reports.empty());
    EXPECT_TRUE(main.IsLoaded());
}

}  // namespace velloran::test
