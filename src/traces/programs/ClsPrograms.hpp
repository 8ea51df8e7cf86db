#pragma once
// The worker that removes other programs' recent-file and history lists.
#include "traces/Worker.hpp"

namespace velloran {

class ClsPrograms : public TraceWorker {
public:
    explicit ClsPrograms(WorkContext& context) : TraceWorker(context, "ClsPrograms", "Programs") {}

    void CleanWinzipTracks();
    void CleanMMConsole();
    void CleanMediaPlayer();
    void CleanNetMeeting();
    // List 1 to 5; any other number does nothing.
    void CleanFrontpage(float list);
    // 1 Access, 2 Excel, 3 PowerPoint, 4 Word; any other number clears nothing.
    void CleanMicrosoftOffice(float application);

private:
    struct ListRow;
    // Clears the lists in order, one line each; one shared failure text.
    void ClearLists(const char* method, const ListRow* rows, int count);
};

}  // namespace velloran
