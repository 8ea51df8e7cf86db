#pragma once
// The worker that removes the traces Windows itself keeps: the shell's
// most-recently-used lists, clipboard, recycle bin, page file and recent documents.
#include <string>

#include "traces/Worker.hpp"

namespace velloran {

class Form;

class ClsWindows : public TraceWorker {
public:
    explicit ClsWindows(WorkContext& context) : TraceWorker(context, "ClsWindows", "Windows") {}

    // List tasks: `Found` receives the count on a normal end, 0 on failure, and is
    // left alone when cancelled. The flag the run passes as False changes nothing.
    bool CleanRegistryStreams(Int16& Found);
    bool CleanCmdlgHistoryList(Int16& Found);
    bool CleanCmdlogOpenSaveList(Int16& Found);
    bool CleanRunHistory(Int16& Found);
    bool CleanExFindFilesHistory(Int16& Found);
    bool CleanFindFilesHistory(Int16& Found);
    bool CleanFindComputerHistory(Int16& Found);
    bool CleanDesktopStreamHistory(Int16& Found);
    bool CleanPrinterHistory(Int16& Found);
    bool CleanEncryptedTracks(Int16& Found);

    bool CleanClipBoard();
    bool EmptyRecycleBin(Form& owner, bool Silent);
    bool ClearPageFile();
    bool CleanRecentDocList();

    std::string SystemDirectory();
    std::string WindowsDirectory();
    // The "Logon User Name" of the Explorer key; errors are skipped.
    std::string LogonUserName();

private:
    // Deletes the Explorer RecentDocs key; the values it held, -1 when it was missing.
    std::int64_t RemoveRecentDocsKey();
    bool RunListTask(const char* method, Int16& Found);
};

}  // namespace velloran
