#include "compiler/compile_checks.h"

#include "compiler/base_square.h"
#include "compiler/leak_check.h"
#include "compiler/start_place.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace fs = std::filesystem;

namespace {

// Brushes named one by one in a warning; the rest are counted.
constexpr size_t NAMED_BRUSHES = 8;

// A suggested --base-size is rounded up to a multiple of this.
constexpr double BASE_SIZE_STEP = 256.0;

void Warn(const CCheckSetting& setting, const std::string& text, std::ostream& err)
{
    err << "warning: " << setting.MapPath << ": " << text << "\n";
}

std::string Names(const std::vector<const CMapBrush*>& brushes)
{
    std::string text;
    for (size_t i = 0; i < brushes.size() && i < NAMED_BRUSHES; ++i)
        text += (i ? ", " : "") + BrushName(*brushes[i]);
    if (brushes.size() > NAMED_BRUSHES)
        text += " and " + std::to_string(brushes.size() - NAMED_BRUSHES) + " more";
    return text;
}

// The one or two brushes nearest to point, nearest first.
std::vector<const CMapBrush*> NearestBrushes(const std::vector<CMapBrush>& brushes,
                                             const CVector& point)
{
    std::vector<std::pair<double, const CMapBrush*>> byDistance;
    for (const CMapBrush& brush : brushes)
        byDistance.emplace_back(DistanceToBrush(brush, point), &brush);
    const size_t count = std::min<size_t>(byDistance.size(), 2);
    std::partial_sort(byDistance.begin(), byDistance.begin() + static_cast<std::ptrdiff_t>(count),
                      byDistance.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    std::vector<const CMapBrush*> nearest;
    for (size_t i = 0; i < count; ++i)
        nearest.push_back(byDistance[i].second);
    return nearest;
}

bool WritePointFile(const std::string& path, const std::vector<CVector>& points)
{
    std::error_code error;
    if (fs::exists(path, error) && !fs::is_regular_file(path, error))
        return false;
    std::ofstream file(path, std::ios::trunc);
    for (const CVector& point : points)
        file << MapTextPoint(point) << "\n";
    return static_cast<bool>(file.flush());
}

} // namespace

std::string SettleStart(const std::vector<CMapBrush>& brushes, const CCheckSetting& setting,
                        CVector* pStart, bool* pOutside, std::ostream& err)
{
    const CStartPlace place = PlaceStart(brushes, *pStart);
    const std::string where = "the start location " + MapTextPoint(*pStart);
    *pOutside = false;
    switch (place.Place) {
    case EStartPlace::Open:
        break;
    case EStartPlace::Moved:
        Warn(setting,
             where + " lies on the plane of a side of " + BrushName(*place.pBrush) +
                 ", where the flood may start on the wrong side; moved to " +
                 MapTextPoint(place.Start),
             err);
        *pStart = place.Start;
        break;
    case EStartPlace::OnPlane:
        return where + " lies on the plane of a side of " + BrushName(*place.pBrush) +
               " and no point near it is clear of every plane; move it into open space";
    case EStartPlace::InsideBrush:
        return where + " lies inside " + BrushName(*place.pBrush) +
               ", in solid; move it into open space";
    case EStartPlace::OutsideMap: {
        const std::string text = where + " lies outside the map (its brushes span " +
                                 MapTextPoint(place.Min) + " to " + MapTextPoint(place.Max) +
                                 "): the flood fills the space round the map";
        *pOutside = true;
        RemovePointFile(setting);
        if (setting.bLeakFail)
            return text;
        Warn(setting, text + ", and the outer faces are kept", err);
        break;
    }
    }
    return std::string();
}

int32_t WarnOfBaseSquare(const std::vector<CMapBrush>& brushes, const CVector& origin,
                         const CCheckSetting& setting, std::ostream& err)
{
    std::vector<const CMapBrush*> beyond;
    double reach = 0.0;
    for (const CMapBrush& brush : brushes) {
        const double brushReach =
            std::max(BrushReach(brush, CVector()), BrushReach(brush, origin));
        if (brushReach > g_fBaseFaceSize)
            beyond.push_back(&brush);
        reach = std::max(reach, brushReach);
    }
    if (beyond.empty())
        return 0;
    std::ostringstream text;
    text << beyond.size() << (beyond.size() == 1 ? " brush reaches" : " brushes reach")
         << " beyond the base square of " << g_fBaseFaceSize << " units and "
         << (beyond.size() == 1 ? "loses" : "lose") << " sides: " << Names(beyond)
         << "; --base-size " << std::ceil(reach / BASE_SIZE_STEP) * BASE_SIZE_STEP
         << (beyond.size() == 1 ? " keeps it whole" : " keeps them whole");
    Warn(setting, text.str(), err);
    return static_cast<int32_t>(beyond.size());
}

std::string ReportLeak(CBuildNode* pRoot, const CVector& start, const CVector& shift,
                       const std::vector<CMapBrush>& brushes, const CCheckSetting& setting,
                       std::ostream& err)
{
    CVector min, max;
    CLeakTrace trace;
    const bool bBox = BrushesBox(brushes, &min, &max);
    if (!bBox || !TraceLeak(pRoot, start, min - shift, max - shift, &trace)) {
        RemovePointFile(setting);
        return std::string();
    }
    for (CVector& point : trace.Points)
        point = point + shift;
    const CVector exit = trace.Exit + shift;

    std::string text = "the map leaks: the flood from the start location reaches the outside, "
                       "leaving the map near " +
                       MapTextPoint(exit);
    const std::vector<const CMapBrush*> nearest = NearestBrushes(brushes, exit);
    if (!nearest.empty())
        text += " by " + Names(nearest);
    if (WritePointFile(setting.PointFile, trace.Points))
        text += "; " + setting.PointFile + " draws the way out (load it in the editor)";
    else
        text += "; the point file " + setting.PointFile + " could not be written";
    if (setting.bLeakFail)
        return text;
    Warn(setting, text + "; seal the gap, or the outside stays open and its faces are kept", err);
    return std::string();
}

void RemovePointFile(const CCheckSetting& setting)
{
    std::error_code error;
    if (fs::is_regular_file(setting.PointFile, error))
        fs::remove(setting.PointFile, error);
}
