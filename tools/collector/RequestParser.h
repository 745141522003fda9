#pragma once

#include <tools/collector/Verdict.h>

#include <boost/beast/http/basic_parser.hpp>

#include <cstddef>
#include <string>

namespace telvora::collector {

/// Beast's parser. Keeps the header fields in their order and spelling (Beast's own container
/// groups fields of one name) and the body as one text.
class RequestParser final : public boost::beast::http::basic_parser<true> {
public:
    explicit RequestParser(std::size_t maximumBody)
    {
        constexpr std::uint32_t maximumHead = 64 * 1024;
        eager(true);
        header_limit(maximumHead);
        body_limit(maximumBody);
    }

    const std::string& method() const { return m_method; }
    const std::string& target() const { return m_target; }
    Headers takeHeaders() { return std::move(m_headers); }
    std::string takeBody() { return std::move(m_body); }
    std::size_t bodySize() const { return m_body.size(); }
    bool wantsContinue() const { return m_wantsContinue; }

private:
    using ErrorCode = boost::beast::error_code;
    using View = boost::beast::string_view;

    void on_request_impl(
        boost::beast::http::verb, View method, View target, int, ErrorCode&) override
    {
        m_method.assign(method.data(), method.size());
        m_target.assign(target.data(), target.size());
    }
    void on_response_impl(int, View, int, ErrorCode&) override { }
    void on_field_impl(boost::beast::http::field field, View name, View value, ErrorCode&) override
    {
        m_headers.emplace_back(
            std::string(name.data(), name.size()), std::string(value.data(), value.size()));
        if (field == boost::beast::http::field::expect)
            m_wantsContinue = boost::beast::iequals(value, "100-continue");
    }
    void on_header_impl(ErrorCode&) override { }
    void on_body_init_impl(const boost::optional<std::uint64_t>&, ErrorCode&) override { }
    std::size_t on_body_impl(View body, ErrorCode&) override { return append(body); }
    void on_chunk_header_impl(std::uint64_t, View, ErrorCode&) override { }
    std::size_t on_chunk_body_impl(std::uint64_t, View body, ErrorCode&) override
    {
        return append(body);
    }
    void on_finish_impl(ErrorCode&) override { }

    std::size_t append(View part)
    {
        m_body.append(part.data(), part.size());
        return part.size();
    }

    std::string m_method;
    std::string m_target;
    Headers m_headers;
    std::string m_body;
    bool m_wantsContinue = false;
};

} // namespace telvora::collector
