// A whole Windows + Programs clean of every registry list on a large user.reg
// (over 50 MB), against simply reading and writing the file once, with and
// without waiting for the disk (the clean's save waits, so its file survives a
// power cut).
//   clean_bench [ROUNDS]
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "app/Application.hpp"
#include "app/FrmMain.hpp"
#include "common/Host.hpp"
#include "common/controls/Form.hpp"
#include "common/platform/FileIO.hpp"
#include "common/platform/linux/LinuxPlatform.hpp"
#include "common/registry/WinePrefixStore.hpp"

namespace fs = std::filesystem;
using namespace velloran;
using Clock = std::chrono::steady_clock;

namespace {

class SilentHost : public Host {
public:
    int MsgBox(const std::string&, int, const std::string&) override { return vbOK; }
    void DoEvents() override {}
    void ShowModal(Form& form, Form*) override { form.Activate(); }
    void FormUnloaded(Form&) override {}
};

// Every list the Windows and Programs tasks clear, 200 entries each.
const char* const kLists[] = {
    "Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\StreamMRU",
    "Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\RunMRU",
    "Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\DesktopStreamMRU",
    "Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\PrnPortsMRU",
    "Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\FindComputerMRU",
    "Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\Doc Find Spec MRU",
    "Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\ComDlg32\\LastVisitedMRU",
    "Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\ComDlg32\\OpenSaveMRU",
    "Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\ComDlg32\\OpenSaveMRU\\txt",
    "Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\UserAssist\\"
    "{5E6AB780-7743-11CF-A12B-00AA004AE837}\\Count",
    "Software\\Microsoft\\Search Assistant\\ACMru",
    "Software\\Microsoft\\Internet Explorer\\Explorer Bars\\{C4EE31F3-4768-11D2-BE5C-00A0C9A83DA1}"
    "\\FilesNamedMRU",
    "Software\\Nico Mak Computing\\WinZip\\extract",
    "Software\\Nico Mak Computing\\WinZip\\filemenu",
    "Software\\Microsoft\\Microsoft Management Console\\Recent File List",
    "Software\\Microsoft\\MediaPlayer\\Player\\RecentFileList",
    "Software\\Microsoft\\Conferencing\\UI\\CallMRU",
    "Software\\Microsoft\\FrontPage\\Explorer\\FrontPage Explorer\\Recent File List",
    "Software\\Microsoft\\Office\\9.0\\Excel\\Recent Files",
    "Software\\Microsoft\\Office\\10.0\\PowerPoint\\Recent File List",
};

fs::path MakeSource(const fs::path& dir) {
    fs::create_directories(dir);
    WinePrefixStore store(dir);
    char key[128];
    for (int k = 0; k < 66000; ++k) {
        std::snprintf(key, sizeof key, "Software\\Vendor %03d\\Application %03d\\Settings %02d",
                      k / 1000, (k / 20) % 50, k % 20);
        for (int v = 0; v < 16; ++v)
            store.WriteValue(kHKeyCurrentUser, key, "Value" + std::to_string(v),
                             v % 2 ? RegValue::Dword(static_cast<std::uint32_t>(k * 31 + v))
                                   : RegValue::String("C:\\users\\me\\Documents\\Report " +
                                                      std::to_string(k) + " caf\xC3\xA9.doc"));
    }
    for (const char* list : kLists)
        for (int i = 0; i < 200; ++i)
            store.WriteValue(
                kHKeyCurrentUser, list, "entry" + std::to_string(i),
                RegValue::String("C:\\some\\recent\\file" + std::to_string(i) + ".txt"));
    store.Save();
    return dir / "user.reg";
}

double Median(std::vector<double> v) {
    std::sort(v.begin(), v.end());
    return v[v.size() / 2];
}

double Seconds(Clock::time_point a) {
    return std::chrono::duration<double>(Clock::now() - a).count();
}

}  // namespace

int main(int argc, char** argv) {
    const int rounds = argc > 1 ? std::max(1, std::atoi(argv[1])) : 5;
    const fs::path root =
        fs::temp_directory_path() / ("velloran-cleanbench-" + std::to_string(getpid()));
    const fs::path source = MakeSource(root / "source");
    std::cout << "user.reg: " << fs::file_size(source) / 1e6 << " MB\n";

    std::vector<double> plain, synced, clean;
    for (int r = 0; r < rounds; ++r) {
        // The floors: read the bytes once and write them once, through a temporary
        // file and a rename; the second also waits for the disk, as a save must.
        auto t0 = Clock::now();
        {
            std::ifstream in(source, std::ios::binary);
            std::stringstream ss;
            ss << in.rdbuf();
            std::ofstream out(root / "plain.tmp", std::ios::binary);
            out << ss.str();
            out.flush();
        }
        fs::rename(root / "plain.tmp", root / "plain.reg");
        plain.push_back(Seconds(t0));

        t0 = Clock::now();
        {
            std::string bytes;
            ReadWholeFile(source, bytes);
            WriteFileAtomically(root / "synced.reg", bytes);
        }
        synced.push_back(Seconds(t0));

        const fs::path prefix = root / ("run" + std::to_string(r));
        fs::create_directories(prefix);
        fs::copy_file(source, prefix / "user.reg");

        t0 = Clock::now();
        {
            SilentHost host;
            Target target;
            target.prefix = prefix;
            LinuxPlatform platform(target);
            WinePrefixStore store(prefix);
            // Velloran's own settings live beside the prefix, as in the programs.
            WinePrefixStore::Options own;
            own.isPrefix = false;
            WinePrefixStore settings(root / "settings", own);
            Application app(host, platform);
            app.SetRegistry(&store);
            app.SetSettingsRegistry(&settings);
            FrmMain& frm = app.Main();
            frm.Load();
            // Every registry list; the desktop tasks (6, 8, 9) would touch this machine.
            for (int i : {1, 3, 4, 5, 7, 10, 12, 13}) frm.win_chk(i).SetValue(1);
            frm.oprg_chks.SetValue(1);
            frm.cmdClean.Click();
        }
        clean.push_back(Seconds(t0));
        fs::remove_all(prefix);
    }
    fs::remove_all(root);
    const double p = Median(plain), ps = Median(synced), c = Median(clean);
    std::printf(
        "read+write once: %.3f s   with the wait for the disk: %.3f s   full clean: %.3f s\n", p,
        ps, c);
    std::printf("ratio clean/plain: %.2f   clean/plain with the wait: %.2f\n", c / p, c / ps);
    return 0;
}
