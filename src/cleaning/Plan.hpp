#pragma once
// A run's choice as plain values: the task boxes' values and the options of the
// Settings page. The main window builds one from its boxes, the console from its
// arguments, tests directly; the run, the completion actions and the tools work
// on it and never look at a window.
#include <cstddef>
#include <string_view>
#include <vector>

namespace velloran {

// The Settings page's option boxes, by the index each one has in stChk.
enum class Option : int {
    RecycleBin = 0,    // "Delete files to recycle bin"
    SecureDelete = 1,  // "Securely delete files"
    NoNotify = 3,      // "Do not notify me when job is completed."
    ExitWhenDone = 4,
    ShutDown = 5,
    Restart = 6,
};

struct Options {
    // Each option as its box's value: 0 clear, 1 ticked; other values count as
    // neither, exactly as a box holding them would.
    int box[7] = {0, 0, 0, 0, 0, 0, 0};  // by stChk index; index 2 is unused
    int deleteMethod = 0;                // the delete-method list's index

    int Value(Option o) const { return box[static_cast<int>(o)]; }
    void Set(Option o, int value) { box[static_cast<int>(o)] = value; }
    // Sets an option as a click on its box would: a change runs the page's rules
    // (recycle bin and secure delete exclude each other, so do exit, shut down
    // and restart), and setting the value it has changes nothing.
    void SetByClick(int index, int value);
    bool Ticked(Option o) const { return Value(o) == 1; }
    bool operator==(const Options&) const = default;
};

class Plan {
public:
    // Every task box of the catalogue, all clear.
    Plan();

    // The value of box `index` of the group at `group` (catalogue order); 0 for an
    // index the group does not have.
    int Value(std::size_t group, int index) const;
    void Set(std::size_t group, int index, int value);
    // By array name ("win_chk"); false when there is no such box.
    bool Set(std::string_view array, int index, int value);
    // Whether any box of any group holds 1: the nothing-to-do test.
    bool AnyTicked() const;
    bool AnyTicked(std::size_t group) const;

    Options options;

private:
    std::vector<std::vector<int>> values_;  // per group, by index (0 unused)
};

}  // namespace velloran
