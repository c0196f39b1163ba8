#pragma once
// File dialogs through an external program (zenity, else kdialog), so that the host's own
// event loop never waits: choose() starts the program, and pump(), called from the editor's
// idle, hands the answer over once the program has ended.

#include <sys/types.h>

#include <string>
#include <vector>

#include "PresetBrowser.h"

class ExternalFileChooser : public FileChooser {
public:
    ExternalFileChooser();
    // Ends a dialog still open; its answer is dropped.
    ~ExternalFileChooser() override;

    // A second request while a dialog is open is answered as cancelled at once.
    void choose(const FileRequest& request, std::function<void(const std::string* path)> done) override;
    // Delivers the answer of a dialog that has ended; false while one is still open.
    bool pump();
    bool isOpen() const { return child > 0; }
    // The program found on PATH, empty when there is none (every request is then cancelled).
    const std::string& program() const { return tool; }

    // The command line for a request, by program name.
    static std::vector<std::string> commandFor(const std::string& tool, const FileRequest& request);

private:
    std::string tool;
    pid_t child = -1;
    int output = -1;
    std::string answer;
    std::function<void(const std::string*)> pending;
};
