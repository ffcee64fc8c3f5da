// vorlane-make-samples: writes the sample maps, their light lists and their
// textures into a folder; with --large, also a large generated map for
// benchmarks, with its light list and textures beside it. The maps are made
// in tools/sample_maps.h.
#include "tools/sample_maps.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

namespace {

int Usage()
{
    std::fprintf(stderr, "usage: vorlane-make-samples OUTDIR [--large BRUSHES FILE]\n");
    return 2;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2 && (argc != 5 || std::string(argv[2]) != "--large"))
        return Usage();
    long count = 0;
    if (argc == 5) {
        char* pEnd = nullptr;
        count = std::strtol(argv[3], &pEnd, 10);
        const int most = samples::MaxLargeBrushCount();
        if (*pEnd != '\0' || count < 1 || count > most) {
            std::fprintf(stderr, "vorlane-make-samples: the brush count must be 1 to %d\n", most);
            return 2;
        }
    }

    if (!samples::WriteFiles(argv[1], samples::SampleFiles())) {
        std::fprintf(stderr, "vorlane-make-samples: can't write into %s\n", argv[1]);
        return 1;
    }
    std::printf("wrote the sample maps into %s\n", argv[1]);
    if (argc == 2)
        return 0;

    const std::filesystem::path file = argv[4];
    const std::filesystem::path parent = file.parent_path();
    const std::vector<samples::CSampleFile> files =
        samples::LargeFiles(int(count), file.filename().string());
    if (!samples::WriteFiles(parent.empty() ? "." : parent, files)) {
        std::fprintf(stderr, "vorlane-make-samples: can't write %s\n", argv[4]);
        return 1;
    }
    std::printf("wrote %s: %zu brushes\n", argv[4], samples::LargeMap(int(count)).Brushes.size());
    return 0;
}
