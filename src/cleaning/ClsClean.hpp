#pragma once
// One cleaning run: the header, the five job groups in their fixed order, the
// closing message and the final progress event.
#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "common/Vb.hpp"
#include "common/controls/ControlArray.hpp"
#include "common/controls/Controls.hpp"

namespace velloran {

class Application;
class ClsWindows;
class ClsPrograms;
class IECleaner;
class NetscapeCleaner;
class OperaCleaner;

class ClsClean {
public:
    explicit ClsClean(Application& app);
    ~ClsClean();

    // Text, Total, Current; handled by the progress window as cs_Progress.
    std::function<void(const std::string&, int, int)> Progress;

    bool isJob();
    void Clean();
    // Passes a cancel request to the worker that is alive and releases it.
    void SetCancel(bool value);

    void DoWindows();
    void DoIE();
    void DoNetscape();
    void DoOpera();
    void DoPrograms();

    // Appends one line to the log; a current position above 0 also moves the bar.
    void AddLog(const std::string& text, Int16 total, Int16 current);

    Int16 GroupTotal() const { return groupTotal_; }
    Int16 GroupDone() const { return groupDone_; }
    const std::string& LogSnapshot() const { return logSnapshot_; }
    VbBool Aborted() const { return aborted_; }
    VbBool BrowserOpen() const { return browserOpen_; }
    std::shared_ptr<ClsWindows> cwin() const { return cwin_; }
    std::shared_ptr<ClsPrograms> cPrg() const { return cPrg_; }
    std::shared_ptr<IECleaner> cIE() const { return cIE_; }
    std::shared_ptr<NetscapeCleaner> cNsp() const { return cNsp_; }
    std::shared_ptr<OperaCleaner> cOpr() const { return cOpr_; }

    // Worker event handlers.
    void WorkerProgress(const std::string& area, const std::string& text);
    void WorkerError(std::int16_t number, const std::string& description,
                     const std::string& location, const std::string& version);
    void cIE_Error(std::int16_t number, const std::string& description, const std::string& location,
                   const std::string& source, const std::string& version);
    // Shows the cache folder being emptied in the progress bar; the log is not touched.
    void cIE_FileProgress(const std::string& folder, std::int32_t total, std::int32_t current);
    void cIE_Progress(const std::string& area, const std::string& text);
    // Puts the path on the start-up deletion list; nothing is logged.
    void cIE_StartupDelete(const std::string& path);
    void cNsp_Progress(const std::string& area, const std::string& text);
    void cNsp_Error(std::int16_t number, const std::string& description,
                    const std::string& location, const std::string& version,
                    const std::string& profile);

private:
    // Step 4 of a browser group: true (and the user told) when the browser is open.
    struct BrowserWindow {
        const char* windowClass;
        const char* firstText;
        const char* lastText;
    };
    static const BrowserWindow kIEWindow, kNetscapeWindow, kOperaWindow;
    bool BrowserWindowOpen(const BrowserWindow& browser);

    // Steps 1-2 of every group: count the ticked boxes, index 0 never examined.
    void SaveRegistry();
    void CountTicked(const ControlArray<CheckBox>& array);
    void RaiseProgress(const std::string& text, int total, int current);

    template <class Worker>
    void Attach(Worker& worker);
    void AttachIE(IECleaner& worker);
    // Step 7 of a group: the log line and the worker calls of each ticked box.
    template <class Worker, class Job, std::size_t N>
    void RunJobs(const ControlArray<CheckBox>& array, std::shared_ptr<Worker>& member,
                 const std::array<Job, N>& jobs, bool pumpEvents);

    Application& app_;
    std::shared_ptr<ClsPrograms> cPrg_;
    std::shared_ptr<ClsWindows> cwin_;
    std::shared_ptr<IECleaner> cIE_;
    std::shared_ptr<NetscapeCleaner> cNsp_;
    std::shared_ptr<OperaCleaner> cOpr_;
    Int16 groupTotal_;
    Int16 groupDone_;
    std::string logSnapshot_;
    VbBool aborted_ = vbFalse;
    VbBool browserOpen_ = vbFalse;
    std::string windowTitle_;
};

// The run header: user, Windows type and Windows directory, three lines.
std::string RunHeader(const std::string& user, const std::string& winVersion,
                      const std::string& windowsDirectory);

}  // namespace velloran
