// vorlane: the map viewer. Sets up the platform from the command line, then
// runs the viewer application as a full-screen (or windowed) program.
#include "platform/window.h"
#include "viewer/options.h"
#include "viewer/program_setup.h"
#include "viewer/viewer_app.h"

int main(int argc, char** argv)
{
    return RunWithViewerOptions(argc, argv, "vorlane", VORLANE_VERSION, ViewerUsage(), [] {
        const CAppConfig config = MakeViewerConfig();
        CViewerApp app;
        app.Run(&config, GetModuleHandleA(nullptr));
    });
}
