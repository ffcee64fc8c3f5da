#pragma once
// The inputs of the compile benchmarks: the generated maps of 500 and 2000
// brushes and the real map texts of the shared folder, each with its start
// location. A scratch directory holds the generated maps and stands for
// "C:\", so that the compiler's fixed logs land there too.
#include "bench/map_generator.h"
#include "compiler/entities.h"
#include "platform/files.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <string>
#include <system_error>
#include <unistd.h>
#include <vector>

struct CBenchMap {
    std::string Name;
    std::string Path;
    CVector Start;
};

class CBenchMaps {
public:
    explicit CBenchMaps(const std::string& tool)
        : Scratch(std::filesystem::temp_directory_path() /
                  ("vorlane_" + tool + "_" + std::to_string(getpid())))
    {
        std::filesystem::create_directories(Scratch);
        SetDriveRoot(Scratch.string());
    }
    ~CBenchMaps()
    {
        std::error_code error;
        std::filesystem::remove_all(Scratch, error);
    }
    CBenchMaps(const CBenchMaps&) = delete;
    CBenchMaps& operator=(const CBenchMaps&) = delete;

    // False when a generated map can't be written.
    bool Collect(std::vector<CBenchMap>* pMaps) const
    {
        for (int brushes : {500, 2000}) {
            const std::string name = "generated_" + std::to_string(brushes);
            const std::string path = (Scratch / (name + ".map")).string();
            if (!mapgen::WriteMapFile(path, brushes)) {
                std::fprintf(stderr, "can't write %s\n", path.c_str());
                return false;
            }
            // File axes a b c are the world vector (a, c, b).
            const mapgen::Vec3 start = mapgen::StartLocation(brushes);
            pMaps->push_back({name, path, CVector(float(start.x), float(start.z), float(start.y))});
        }
        for (const std::filesystem::path& path : SharedMaps()) {
            std::vector<CEntity> entities;
            CBenchMap map{path.stem().string(), path.string(), CVector()};
            if (!ReadEntities(map.Path.c_str(), &entities) ||
                !FindStartLocation(entities, &map.Start))
                std::fprintf(stderr, "no start location in %s\n", map.Path.c_str());
            pMaps->push_back(map);
        }
        return true;
    }

private:
    static std::vector<std::filesystem::path> SharedMaps()
    {
        std::vector<std::filesystem::path> maps;
        std::error_code error;
        for (const auto& entry :
             std::filesystem::directory_iterator(VORLANE_SHARED_MAPS_DIR, error)) {
            if (entry.path().extension() == ".map")
                maps.push_back(entry.path());
        }
        std::sort(maps.begin(), maps.end());
        return maps;
    }

    std::filesystem::path Scratch;
};
