// vorlane-controls: the screen controls example. Takes the viewer's command
// line and runs the example application in its place.
#include "platform/window.h"
#include "tools/controls_demo_app.h"
#include "viewer/program_setup.h"

namespace {

const char* const USAGE =
    "Usage: vorlane-controls [options]\n"
    "The screen controls example: a panel with a text box and two buttons that\n"
    "count their clicks.\n"
    "\n"
    "Options as for vorlane: --windowed, --script FILE, --step-ms N, --record FILE,\n"
    "--timedemo, --root DIR, --help, --version.\n"
    "\n"
    "Keys: Escape quits.\n";

} // namespace

int main(int argc, char** argv)
{
    return RunWithViewerOptions(argc, argv, "vorlane-controls", VORLANE_VERSION, USAGE, [] {
        const CAppConfig config = MakeControlsDemoConfig();
        CControlsDemoApp app;
        app.Run(&config, GetModuleHandleA(nullptr));
    });
}
