#pragma once

#include <Telvora/Base/Dictionary.h>
#include <Telvora/Base/Export.h>
#include <Telvora/Base/Guarded.h>
#include <Telvora/Base/Work.h>
#include <Telvora/Classes/Utils/Batch.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace telvora {

namespace detail {
template<typename T> class Lazy;
}

struct HTTPAnswer;
struct HTTPRequest;

/// Sends one batch as one HTTP POST with a JSON body and reports whether the collector accepted it.
/// The only place where the library sends anything.
///
/// Life: one shared instance, made on first use, never destroyed.
///
/// Threads: post() from any thread. It does not wait for the network, and holds no lock while it
/// calls other code. A batch of a dictionary is encoded on that thread. The handler is called on
/// the HTTP client's thread, at most once.
///
/// Failure: see PostEnd. An address that isAddressText() refuses is a programming error of the host
/// and stops the process. White space and line breaks around a header's value are removed; a header
/// with a line break or a NUL inside, or whose name is no HTTP token, is left out of the request.
/// Where something throws (there is no memory, or the client throws), the handler is destroyed
/// without a call. In a forked child every batch ends as notAccepted at once.
///
/// Deliberate: neither the HTTP status nor the value of "success" in the answer matters. A member
/// of that name that is a boolean, or a number equal to 0 or 1, means that the collector has
/// accepted the batch, also when it is false.
/// Deliberate: for a batch that cannot be encoded, and for an answer that is JSON but no object,
/// the handler is not called and the batch is lost.
/// Deliberate: post() does not register the exit handler anew, as the installation of a closure
/// does, because each registration needs memory for the life of the process. So while the process
/// ends, a handler may still be called after objects were destroyed that were made later than the
/// last installation.
class TELVORA_EXPORT TrackerNetwork {
public:
    /// Whether the collector accepted the batch, and the batch that was posted, not a copy.
    using Handler = std::function<void(bool isAccepted, Batch param)>;

    /// How a post ended. The Handler is called for the first two only.
    enum class PostEnd {
        /// The answer has "success".
        accepted,
        /// No answer, an answer that is not JSON, or one without "success".
        notAccepted,
        /// The batch contains a number that JSON cannot express. Nothing was sent.
        unencodable,
        /// The answer is JSON but no object.
        answerNotObject,
    };
    /// How a post ended, and why.
    struct PostResult {
        /// How it ended.
        PostEnd end;
        /// Why the collector did not accept the batch, for a person; empty if it did.
        std::string reason {};
        /// The HTTP status; 0 without an answer.
        int status = 0;
        /// How long the collector asks to wait before the next try.
        std::chrono::duration<double> retryAfter { 0 };
    };
    /// Takes how a post ended, and the batch that was posted.
    using EndHandler = UniqueFunction<void(PostResult, Batch), 128>;
    /// Returns the identifier of the installation; absent where there is none.
    using IdentifierSource = std::function<std::optional<std::string>()>;

    /// The one instance, made on first use and never destroyed.
    static TrackerNetwork& shareInstance();

    /// The application's version as the bundle has it now; empty where it has none.
    static std::string applicationVersion();

    /// Builds the request and starts it. `with` is the address; `externHeaders` are the channel's
    /// own headers. A fixed header replaces one of the same name, in any case of letters.
    static void post(const std::string& with, Batch param, const StringDictionary& externHeaders,
        Handler handler);

    /// What is done about a header that is left out, where nobody wants to know.
    static constexpr auto ignoreHeader = [](std::string_view) {};

    /// What a channel chooses for its requests.
    struct PostOptions {
        /// A compressed body has the header "Content-Encoding", which replaces one of the same name
        /// like a fixed one.
        BodyEncoding encoding = BodyEncoding::plain;
        /// The value of "x-batch-id", which replaces a header of the same name; empty for none.
        std::string batchId {};
        /// HTTPRequest::withdrawn.
        std::shared_ptr<const std::atomic<bool>> withdrawn {};
        /// Called with the name of each header that HTTP cannot carry, before the post returns.
        FunctionRef<void(std::string_view header)> leftOut = ignoreHeader;
    };

    /// The same, but the handler is called for every PostEnd; for the ledger. What is thrown before
    /// the request is sent reaches the caller.
    void postWithEnds(const std::string& url, Batch param, const StringDictionary& externHeaders,
        EndHandler handler, const PostOptions& options);

    /// Headers for every request. A channel's header or a fixed one of the same name replaces them.
    void setAdditionHeaders(std::optional<StringDictionary> headers);

    /// Installs the source of the header "QVX-UUID", called once a request. With an empty source,
    /// or when it returns absent, the header is left out.
    void setIdentifierSource(IdentifierSource source);

private:
    friend class detail::Lazy<TrackerNetwork>;

    TrackerNetwork() = default;

    // After the platform was taken down: every batch ends as notAccepted at once.
    void retire() { m_isRetired.store(true, std::memory_order_relaxed); }

    void setHeaders(HTTPRequest& request, const StringDictionary& externHeaders,
        BodyEncoding encoding, const PostOptions& options) const;
    static void finish(HTTPAnswer answer, Batch param, EndHandler handler);

    std::atomic<bool> m_isRetired { false };
    detail::Guarded<std::shared_ptr<const StringDictionary>> m_additionHeaders;
    detail::Guarded<std::shared_ptr<const IdentifierSource>> m_identifierSource;
};

} // namespace telvora
