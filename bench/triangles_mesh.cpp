// Builds a closed torus of 1 million points and 2 million triangles, copies
// it, transforms the copy and prints the times and the memory per triangle.

#include "triangles/MStlBase.h"

#include "common/MMTransformMatrix.h"

#include <chrono>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

namespace
{
// Resident set size in bytes, from /proc/self/statm.
double ResidentBytes()
{
    std::ifstream statm("/proc/self/statm");
    long pages = 0;
    long resident = 0;
    statm >> pages >> resident;
    return double(resident) * 4096.0;
}

double Seconds(std::chrono::steady_clock::time_point since)
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - since).count();
}
} // namespace

int main()
{
    constexpr std::uint32_t kRing = 1000;
    constexpr std::uint32_t kTube = 1000;
    double const before = ResidentBytes();

    auto start = std::chrono::steady_clock::now();
    auto* torus = new MStlBase;
    std::vector<MStlPoint*> points;
    points.reserve(std::size_t(kRing) * kTube);
    double const pi = std::acos(-1.0);
    for (std::uint32_t i = 0; i < kRing; ++i)
    {
        double const a = 2.0 * pi * i / kRing;
        for (std::uint32_t j = 0; j < kTube; ++j)
        {
            double const b = 2.0 * pi * j / kTube;
            double const r = 50.0 + 10.0 * std::cos(b);
            points.push_back(torus->AddPoint(std::int32_t(std::lround(r * std::cos(a) * 10000.0)),
                                             std::int32_t(std::lround(r * std::sin(a) * 10000.0)),
                                             std::int32_t(std::lround(10.0 * std::sin(b) * 10000.0)), true));
        }
    }
    for (std::uint32_t i = 0; i < kRing; ++i)
    {
        for (std::uint32_t j = 0; j < kTube; ++j)
        {
            MStlPoint* p00 = points[i * kTube + j];
            MStlPoint* p01 = points[i * kTube + (j + 1) % kTube];
            MStlPoint* p10 = points[((i + 1) % kRing) * kTube + j];
            MStlPoint* p11 = points[((i + 1) % kRing) * kTube + (j + 1) % kTube];
            torus->AddTriangle(p00, p10, p11, nullptr);
            torus->AddTriangle(p00, p11, p01, nullptr);
        }
    }
    double const buildSeconds = Seconds(start);
    std::vector<MStlPoint*>().swap(points);
    double const built = ResidentBytes();
    double const triangles = double(torus->GetNumberOfTriangles());

    start = std::chrono::steady_clock::now();
    auto* copy = new MStlBase(*torus);
    double const copySeconds = Seconds(start);
    double const copied = ResidentBytes();

    MMTransformMatrix transform;
    transform.AccessElement(0, 3) = 12345.6;
    transform.AccessElement(0, 0) = 0.0;
    transform.AccessElement(0, 1) = -1.0;
    transform.AccessElement(1, 0) = 1.0;
    transform.AccessElement(1, 1) = 0.0;
    transform.VerifyAndSetClass();
    start = std::chrono::steady_clock::now();
    copy->Transform(transform);
    double const transformSeconds = Seconds(start);
    double const transformed = ResidentBytes();

    start = std::chrono::steady_clock::now();
    EReturnCode const merged = copy->AddStl(*torus, false);
    double const mergeSeconds = Seconds(start);
    double const afterMerge = ResidentBytes();

    std::printf("points %zu, triangles %.0f\n", torus->GetNumberOfPoints(), triangles);
    std::printf("build      %7.3f s  %6.2f bytes/triangle (RSS %+.1f MB)\n", buildSeconds,
                (built - before) / triangles, (built - before) / 1e6);
    std::printf("copy       %7.6f s  %6.2f bytes/triangle more\n", copySeconds, (copied - built) / triangles);
    std::printf("transform  %7.3f s  %6.2f bytes/triangle more (the copy's own points)\n", transformSeconds,
                (transformed - copied) / triangles);
    std::printf("merge      %7.3f s  %6.2f bytes/triangle more (%s)\n", mergeSeconds,
                (afterMerge - transformed) / triangles, merged == EReturnCode::Ok ? "ok" : "failed");
    delete copy;
    delete torus;
    return 0;
}
