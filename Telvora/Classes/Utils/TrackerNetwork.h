#pragma once

#include <Telvora/Base/Dictionary.h>
#include <Telvora/Base/Export.h>
#include <Telvora/Base/Guarded.h>
#include <Telvora/Base/Work.h>
#include <Telvora/Classes/Utils/Batch.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace telvora {

struct HTTPAnswer;
struct HTTPRequest;

/// Sends one batch as one HTTP POST with a JSON body and says whether the collector took it. The
/// only place where the library touches the network.
///
/// Life: one shared instance, made on first use, never destroyed.
///
/// Threads: post() from any thread; it encodes there, never waits for the network, and holds no
/// lock while it calls out. The handler comes on the HTTP client's thread, at most once.
///
/// Failure: see PostEnd. A text that is no address at all is a mistake of the host and stops the
/// process. White space and line breaks around a header's value are cut off; a header with a line
/// break or a NUL inside, or with a name that is no token of HTTP, is left out of the request.
/// Where something throws on the way (there is no memory, or the client throws), the handler is
/// destroyed without a call. In a forked child every batch is refused at once.
///
/// Deliberate: the HTTP status is not looked at, and neither is the value of "success" in the
/// answer: a member of that name that is a boolean, or a number equal to 0 or 1, means that the
/// collector has taken the batch, also when it is false.
/// Deliberate: a batch that cannot be encoded, and one whose answer is JSON but no object, never
/// reach the handler and are lost.
class TELVORA_EXPORT TrackerNetwork {
public:
    /// Whether the collector took the batch, and the very batch that was posted.
    using Handler = std::function<void(bool isAccepted, Batch param)>;

    /// Everything that can become of a post. The handler hears of the first two only.
    enum class PostEnd {
        accepted,
        refused,
        unencodable,
        answerNotObject,
    };
    using EndHandler = UniqueFunction<void(PostEnd, Batch), 80>;
    using IdentifierSource = std::function<std::optional<std::string>()>;

    static TrackerNetwork& shareInstance();

    /// The application's version as the bundle has it now; empty where it has none.
    static std::string applicationVersion();

    /// Builds the request and starts it. `with` is the address; `externHeaders` are the channel's
    /// own; fixed ones of the same name, in any case of letters, win over them.
    static void post(const std::string& with, Batch param, const StringDictionary& externHeaders,
        Handler handler);

    /// The same, telling every end; for whoever keeps account. What is thrown before the request is
    /// sent reaches the caller.
    void postWithEnds(const std::string& url, Batch param, const StringDictionary& externHeaders,
        EndHandler handler);

    /// Sent on every request before all other headers, so that a channel's or a fixed one of the
    /// same name wins.
    void setAdditionHeaders(std::optional<StringDictionary> headers);

    /// Where the value of "QVX-UUID" comes from, asked once a request. With an empty one there is
    /// no such header.
    void setIdentifierSource(IdentifierSource source);

private:
    TrackerNetwork() = default;

    void setHeaders(HTTPRequest& request, const StringDictionary& externHeaders) const;
    static void finish(HTTPAnswer answer, Batch param, EndHandler handler);

    detail::Guarded<std::shared_ptr<const StringDictionary>> m_additionHeaders;
    detail::Guarded<std::shared_ptr<const IdentifierSource>> m_identifierSource;
};

} // namespace telvora
