#pragma once

#include <Telvora/Base/DataAsDict.h>
#include <Telvora/Base/Export.h>

#include <boost/describe/class.hpp>

#include <cstdint>
#include <optional>
#include <string>

namespace telvora {

/// One APM measurement. The names of its properties are the keys of the report, short so that a
/// report stays small. The report always has all 33 keys; an absent value is null.
///
/// The library makes records of seven types: "SLOW-FRAME", "FROZEN-FRAME", "PAGE-VIEW", "BLOCK",
/// "FIRST-FRAME", "LCP" (largest contentful paint) and "START" (launch). Each property names the
/// types that fill it. In the others it keeps its initial value: absent, or 0.
///
/// Units: times and intervals are in the unit in which the host measured them; nothing is scaled.
/// Only `d` has a fixed unit.
///
/// Life: `t`, `d` and `ipaMode` are set when it is made and do not follow the clock or the mode
/// afterwards.
/// Threads: a value without a lock.
struct TELVORA_EXPORT TrackerMeta : DataAsDict<TrackerMeta> {
    /// The type of a record.
    struct T {
        /// The text that is sent.
        std::string name;

        /// A type with that text.
        explicit T(std::string typeName)
            : name(std::move(typeName))
        {
        }
        /// A type of the host's own.
        static T custom(std::string name) { return T(std::move(name)); }
    };

    /// A record of that type, made now: see `t`, `d` and `ipaMode`. All else is absent.
    explicit TrackerMeta(T type);

    /// Type of the record. All types.
    std::string t;
    /// Time of the record in seconds since 1970, with fraction. All types: the time of making.
    /// START replaces it by the entry "d".
    double d;
    /// How long the page took to show its first frame, rounded to two decimals. FIRST-FRAME.
    std::optional<double> f;
    /// Name of the page. SLOW-FRAME, FROZEN-FRAME, PAGE-VIEW, FIRST-FRAME and LCP: as the host
    /// names it. Where it is absent, enrollAPMReport() fills in the class name of the screen on
    /// top.
    std::optional<std::string> p;
    /// CPU information, in the host's words. BLOCK.
    std::optional<std::string> ci;
    /// Battery level. No type: the library cannot read it.
    std::optional<std::int64_t> batr;
    /// Whether the device is on Wi-Fi. Where it is absent, enrollAPMReport() fills it in.
    std::optional<bool> wifi;
    /// No type; for the host.
    std::optional<double> scb;
    /// Backtrace of the blocked main thread. BLOCK. (In a dictionary for reportAPMDict(), "si" is
    /// the seconds since the start.)
    std::optional<std::string> si;
    /// Total time. SLOW-FRAME, FROZEN-FRAME, LCP; START: entry "ct".
    double ct = 0;
    /// Slow or frozen part of the total time. SLOW-FRAME, FROZEN-FRAME; START: entry "at".
    double at = 0;
    /// Parameters of the page on top. Where it is absent, enrollAPMReport() fills it in if the page
    /// has parameters.
    std::optional<StringDictionary> pageExpend;
    /// Initialisation time. LCP; START: entry "fcp".
    double fcp = 0;
    /// Render time. LCP.
    double pt = 0;
    /// Request time. LCP.
    double reqt = 0;
    /// First-frame time. LCP.
    double ft = 0;
    /// Entry "fpt". START. (In an "FPS" dictionary for reportAPMDict(), whether a change of page is
    /// under way.)
    double fpt = 0;
    /// Entry "fp". START.
    double fp = 0;
    /// Entry "dcl". START.
    double dcl = 0;
    /// Entry "ht". START.
    double ht = 0;

    // The library neither fills nor reads the next twelve; the host decides what they mean.

    /// For the host.
    std::optional<std::string> u;
    /// For the host.
    std::optional<std::string> wt;
    /// For the host.
    std::optional<std::int64_t> s;
    /// For the host.
    std::optional<std::string> bc;
    /// For the host.
    std::optional<std::string> wt_s;
    /// For the host.
    std::optional<std::string> status;
    /// For the host. Not stamped: `wifi` says what the library knows of the network.
    std::optional<std::string> network;
    /// For the host.
    std::optional<std::string> msg_id;
    /// For the host.
    std::optional<std::string> content_type;
    /// For the host.
    std::optional<std::int64_t> c;
    /// For the host. Unlike "cs" in a dictionary for reportAPMDict(), it is not copied into
    /// `extra`.
    std::optional<std::string> cs;
    /// For the host: free-form data, sent as a JSON object.
    std::optional<Dictionary> extra;
    /// Build mode of the host, "RELEASE" or "DEBUG". All types: the mode at the time of making.
    std::string ipaMode;
};

BOOST_DESCRIBE_STRUCT(TrackerMeta, (),
    (t, d, f, p, ci, batr, wifi, scb, si, ct, at, pageExpend, fcp, pt, reqt, ft, fpt, fp, dcl, ht,
        u, wt, s, bc, wt_s, status, network, msg_id, content_type, c, cs, extra, ipaMode))

} // namespace telvora
