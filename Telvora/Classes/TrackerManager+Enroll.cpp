#include <Telvora/Classes/TrackerManager.h>

#include <chrono>
#include <cmath>

namespace telvora {

namespace {

TrackerMeta makeRecord(std::string_view type)
{
    return TrackerMeta(TrackerMeta::T(std::string(type)));
}

// Slow and frozen frames differ in their type alone.
TrackerMeta frameRecord(std::string_view type, double frameInterval, double totalInterval,
    std::optional<std::string> topViewController)
{
    TrackerMeta record = makeRecord(type);
    record.p = std::move(topViewController);
    record.ct = totalInterval;
    record.at = frameInterval;
    return record;
}

TrackerMeta paintRecord(double init, double render, double request, double firstFrame, double total)
{
    TrackerMeta record = makeRecord("LCP");
    record.fcp = init;
    record.pt = render;
    record.reqt = request;
    record.ft = firstFrame;
    record.ct = total;
    return record;
}

// Rounds half away from zero. The product is a double, so 1.005 * 100 is less than 100.5.
double roundedToTwoDecimals(double number)
{
    return std::round(number * 100) / 100;
}

} // namespace

void TrackerManager::enrollSlowFrameTrack(
    double slowInterval, double totalInterval, std::string topViewController, bool useOstra)
{
    if (isInert())
        return;
    enrollAPMReport(
        frameRecord("SLOW-FRAME", slowInterval, totalInterval, std::move(topViewController)),
        useOstra);
}

void TrackerManager::enrollFrozenFrameTrack(
    double frozenInterval, double totalInterval, std::string topViewController, bool useOstra)
{
    if (isInert())
        return;
    enrollAPMReport(
        frameRecord("FROZEN-FRAME", frozenInterval, totalInterval, std::move(topViewController)),
        useOstra);
}

void TrackerManager::enrollSlowFrameTrack(SlowFrame frame)
{
    if (isInert())
        return;
    enrollAPMReport(
        frameRecord("SLOW-FRAME", frame.slow.count(), frame.total.count(), std::move(frame.page)));
}

void TrackerManager::enrollFrozenFrameTrack(FrozenFrame frame)
{
    if (isInert())
        return;
    enrollAPMReport(frameRecord(
        "FROZEN-FRAME", frame.frozen.count(), frame.total.count(), std::move(frame.page)));
}

void TrackerManager::enrollPageViewTrack(std::string topViewController, bool useOstra)
{
    if (isInert())
        return;
    TrackerMeta record = makeRecord("PAGE-VIEW");
    record.p = std::move(topViewController);
    enrollAPMReport(std::move(record), useOstra);
}

void TrackerManager::enrollSkarnTrack(std::string backtrace, std::string cpu, bool useOstra)
{
    if (isInert())
        return;
    TrackerMeta record = makeRecord("BLOCK");
    record.si = std::move(backtrace);
    record.ci = std::move(cpu);
    enrollAPMReport(std::move(record), useOstra);
}

void TrackerManager::enrollFirstFrameTrack(
    double frameInterval, std::string topViewController, bool useOstra)
{
    if (isInert())
        return;
    TrackerMeta record = makeRecord("FIRST-FRAME");
    record.f = roundedToTwoDecimals(frameInterval);
    record.p = std::move(topViewController);
    enrollAPMReport(std::move(record), useOstra);
}

void TrackerManager::enrollFirstFrameTrack(FirstFrame frame)
{
    if (isInert())
        return;
    TrackerMeta record = makeRecord("FIRST-FRAME");
    record.f = roundedToTwoDecimals(frame.time.count());
    record.p = std::move(frame.page);
    enrollAPMReport(std::move(record));
}

void TrackerManager::enrollLCPTrack(double /*startTime*/, double initTime, double renderTime,
    double requestTime, double firstFrameTime, double totalTime, std::string pageName,
    bool useOstra)
{
    if (isInert())
        return;
    TrackerMeta record = paintRecord(initTime, renderTime, requestTime, firstFrameTime, totalTime);
    record.p = std::move(pageName);
    enrollAPMReport(std::move(record), useOstra);
}

void TrackerManager::enrollLCPTrack(LCP paint)
{
    if (isInert())
        return;
    TrackerMeta record = paintRecord(paint.init.count(), paint.render.count(),
        paint.request.count(), paint.firstFrame.count(), paint.total.count());
    record.p = std::move(paint.page);
    enrollAPMReport(std::move(record));
}

void TrackerManager::enrollLaunchTrack(
    const std::map<std::string, double, std::less<>>& with, bool useOstra)
{
    if (isInert())
        return;
    const auto entry = [&](std::string_view key) {
        const auto found = with.find(key);
        return found == with.end() ? 0 : found->second;
    };

    TrackerMeta record = makeRecord("START");
    record.fp = entry("fp");
    record.fpt = entry("fpt");
    record.dcl = entry("dcl");
    record.fcp = entry("fcp");
    record.ct = entry("ct");
    // Replaces the time of making, also where the host gives none: the host dates a launch.
    record.d = entry("d");
    record.at = entry("at");
    record.ht = entry("ht");
    enrollAPMReport(std::move(record), useOstra);
}

void TrackerManager::enrollLaunch(const Launch& launch)
{
    if (isInert())
        return;
    TrackerMeta record = makeRecord("START");
    record.fp = launch.fp.count();
    record.fpt = launch.fpt.count();
    record.dcl = launch.dcl.count();
    record.fcp = launch.fcp.count();
    record.ct = launch.ct.count();
    if (launch.d)
        record.d = std::chrono::duration<double>(launch.d->time_since_epoch()).count();
    record.at = launch.at.count();
    record.ht = launch.ht.count();
    enrollAPMReport(std::move(record));
}

} // namespace telvora
