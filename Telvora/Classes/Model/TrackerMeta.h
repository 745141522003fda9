#pragma once

#include <Telvora/Base/DataAsDict.h>
#include <Telvora/Base/Export.h>

#include <boost/describe/class.hpp>

#include <cstdint>
#include <optional>
#include <string>

namespace telvora {

/// The one record that every APM measurement fills. The names of its properties are the keys of the
/// report, short so that a report stays small; it always has all 33 of them, an absent one as null.
///
/// Life: `t`, `d` and `ipaMode` are set when it is made and do not follow the clock or the mode
/// afterwards.
/// Threads: a value; no lock.
struct TELVORA_EXPORT TrackerMeta : DataAsDict<TrackerMeta> {
    /// The type of a record.
    struct T {
        std::string name;

        explicit T(std::string typeName)
            : name(std::move(typeName))
        {
        }
        static T custom(std::string name) { return T(std::move(name)); }
    };

    explicit TrackerMeta(T type);

    /// Type of the record.
    std::string t;
    /// Seconds since 1970, with fraction.
    double d;
    /// First-frame interval, rounded to two decimals.
    std::optional<double> f;
    /// Page.
    std::optional<std::string> p;
    /// CPU information.
    std::optional<std::string> ci;
    /// Battery level. Nothing in the library sets it.
    std::optional<std::int64_t> batr;
    std::optional<bool> wifi;
    std::optional<double> scb;
    /// Stack: the backtrace.
    std::optional<std::string> si;
    /// Total or cost time.
    double ct = 0;
    /// Slow or frozen interval; launch.
    double at = 0;
    /// Parameters of the page on top.
    std::optional<StringDictionary> pageExpend;
    /// LCP: until initialised; launch.
    double fcp = 0;
    /// LCP: rendering.
    double pt = 0;
    /// LCP: requests.
    double reqt = 0;
    /// LCP: first frame.
    double ft = 0;
    // Launch.
    double fpt = 0;
    double fp = 0;
    double dcl = 0;
    double ht = 0;
    // For callers; nothing in the library sets these.
    std::optional<std::string> u;
    std::optional<std::string> wt;
    std::optional<std::int64_t> s;
    std::optional<std::string> bc;
    std::optional<std::string> wt_s;
    std::optional<std::string> status;
    std::optional<std::string> network;
    std::optional<std::string> msg_id;
    std::optional<std::string> content_type;
    std::optional<std::int64_t> c;
    std::optional<std::string> cs;
    std::optional<Dictionary> extra;
    /// "RELEASE" or "DEBUG".
    std::string ipaMode;
};

BOOST_DESCRIBE_STRUCT(TrackerMeta, (),
    (t, d, f, p, ci, batr, wifi, scb, si, ct, at, pageExpend, fcp, pt, reqt, ft, fpt, fp, dcl, ht,
        u, wt, s, bc, wt_s, status, network, msg_id, content_type, c, cs, extra, ipaMode))

} // namespace telvora
