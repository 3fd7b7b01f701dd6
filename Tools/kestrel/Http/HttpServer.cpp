#include "HttpServer.h"

#include <utility> // which the next one lacks

#include <boost/asio.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>

#include <charconv>
#include <chrono>
#include <exception>
#include <optional>
#include <random>

namespace Tool {

namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = boost::beast::http;
using Tcp = asio::ip::tcp;
using Error = boost::system::error_code;

constexpr std::pair<char const *, char const *> fixedFields[] = {
    {"Content-Security-Policy",
     "default-src 'none'; script-src 'self'; style-src 'self'; connect-src 'self'; img-src 'self'; "
     "base-uri 'none'; form-action 'none'; frame-ancestors 'none'"},
    {"X-Content-Type-Options", "nosniff"},
    {"X-Frame-Options", "DENY"},
    {"Referrer-Policy", "no-referrer"},
    {"Cross-Origin-Resource-Policy", "same-origin"},
    {"Cross-Origin-Opener-Policy", "same-origin"},
    {"Cache-Control", "no-store"},
};

std::string DrawName() {
    std::random_device device;
    std::string name;
    for (int i = 0; i < 32; ++i)
        name += "0123456789abcdef"[device() % 16];
    return name;
}

HttpReply Refuse(http::status status) {
    std::string const reason(http::obsolete_reason(status));
    return {static_cast<unsigned int>(status), "text/plain; charset=utf-8", reason + "\n"};
}

std::chrono::milliseconds ToDuration(double seconds) {
    return std::chrono::milliseconds(static_cast<long long>(seconds * 1000));
}

} // namespace

struct HttpServer::State {
    class Session;

    State(unsigned short port, Handler handler, Limits const & limits)
        : handler(std::move(handler)), limits(limits), handlers(HandlerThreads),
          acceptor(io, Tcp::endpoint(asio::ip::address_v4::loopback(), port)), name(DrawName()) {}

    bool IsOwnHost(std::string const & host) const {
        std::string const port = std::to_string(acceptor.local_endpoint().port());
        for (char const * const own : {"127.0.0.1", "localhost", "[::1]"})
            if (beast::iequals(host, own + (":" + port)) ||
                (port == "80" && beast::iequals(host, own)))
                return true;
        return false;
    }

    void Accept();

    Handler const handler;
    Limits const limits;
    unsigned int sessionCount = 0;
    bool isAccepting = false; // from the start to the end of an accept, and after the last
    asio::io_context io{1};
    asio::thread_pool handlers;
    Tcp::acceptor acceptor;
    asio::steady_timer pause{io};
    std::string const name;
};

// One connection. It exists while one of its operations is in progress.
class HttpServer::State::Session : public std::enable_shared_from_this<Session> {
public:
    Session(State & state, Tcp::socket socket) : state(state), stream(std::move(socket)) {
        ++state.sessionCount;
    }
    ~Session() {
        --state.sessionCount;
        state.Accept();
    }

    void Read() {
        parser.emplace();
        parser->header_limit(state.limits.headerSize);
        parser->body_limit(0);
        stream.expires_after(ToDuration(state.limits.requestSeconds));
        http::async_read(
            stream, buffer, *parser,
            [self = shared_from_this()](Error error, std::size_t) { self->Take(error); });
    }

private:
    void Take(Error error) {
        if (error == http::error::header_limit)
            return Reply(Refuse(http::status::request_header_fields_too_large), true);
        if (error == http::error::body_limit)
            return Reply(Refuse(http::status::payload_too_large), true);
        if (error && error != http::error::end_of_stream && error != http::error::partial_message &&
            error.category() == http::make_error_code(http::error::bad_version).category())
            return Reply(Refuse(http::status::bad_request), true);
        if (error)
            return; // disconnected, or too slow
        if (std::optional<HttpReply> const refusal = GetRefusal())
            return Reply(*refusal, !parser->get().keep_alive());
        std::string target(parser->get().target().substr(state.name.size() + 2));
        stream.expires_never(); // the handler has its own limit
        // A session ends on the thread of Run, which counts them: the handler's thread posts back
        // to it.
        asio::post(state.handlers,
                   [self = shared_from_this(), target = std::move(target)]() mutable {
                       HttpReply reply;
                       try {
                           reply = self->state.handler(target);
                       } catch (std::exception const &) {
                           reply = Refuse(http::status::internal_server_error);
                       }
                       asio::io_context & io = self->state.io;
                       asio::post(io, [self = std::move(self), reply = std::move(reply)]() mutable {
                           self->Reply(std::move(reply), !self->parser->get().keep_alive());
                       });
                   });
    }

    std::optional<HttpReply> GetRefusal() const {
        auto const & request = parser->get();
        auto const hosts = request.equal_range(http::field::host);
        if (std::distance(hosts.first, hosts.second) != 1)
            return Refuse(http::status::bad_request);
        if (!state.IsOwnHost(std::string(hosts.first->value())))
            return Refuse(http::status::forbidden);
        if (request.method() != http::verb::get)
            return Refuse(http::status::method_not_allowed);
        if (request.target().size() > state.limits.targetLength)
            return Refuse(http::status::uri_too_long);
        if (!request.target().starts_with("/" + state.name + "/"))
            return Refuse(http::status::not_found);
        return std::nullopt;
    }

    void Reply(HttpReply reply, bool isLast) {
        response = {};
        response.version(11);
        response.result(reply.status);
        for (auto const & [name, value] : fixedFields)
            response.set(name, value);
        response.set(http::field::content_type, reply.type);
        if (response.result() == http::status::method_not_allowed)
            response.set(http::field::allow, "GET");
        response.keep_alive(!isLast);
        response.body() = std::move(reply.body);
        response.prepare_payload();
        stream.expires_after(ToDuration(state.limits.replySeconds));
        http::async_write(stream, response,
                          [self = shared_from_this(), isLast](Error error, std::size_t) {
                              if (!error && !isLast)
                                  return self->Read();
                              Error ignored;
                              self->stream.socket().shutdown(Tcp::socket::shutdown_send, ignored);
                              self->stream.expires_after(ToDuration(LingerSeconds));
                              self->Drain();
                          });
    }

    // Closing with unread data would make the client lose the reply.
    void Drain() {
        buffer.clear();
        stream.async_read_some(buffer.prepare(LargestPiece),
                               [self = shared_from_this()](Error error, std::size_t) {
                                   if (!error)
                                       self->Drain();
                               });
    }

    static constexpr double LingerSeconds = 1;
    static constexpr std::size_t LargestPiece = 65536;

    State & state;
    beast::tcp_stream stream;
    beast::flat_buffer buffer;
    std::optional<http::request_parser<http::empty_body>> parser;
    http::response<http::string_body> response;
};

// While there is room: a session that ends calls this again.
void HttpServer::State::Accept() {
    if (isAccepting || sessionCount >= limits.connections || !acceptor.is_open())
        return;
    isAccepting = true;
    acceptor.async_accept([this](Error error, Tcp::socket socket) {
        isAccepting = false;
        if (error == asio::error::operation_aborted)
            return;
        if (!error) {
            std::make_shared<Session>(*this, std::move(socket))->Read();
            return Accept();
        }
        pause.expires_after(std::chrono::milliseconds(100)); // for instance, no descriptor is free
        pause.async_wait([this](Error) { Accept(); });
    });
}

HttpServer::HttpServer(unsigned short port, Handler handler)
    : HttpServer(port, std::move(handler), Limits()) {}

HttpServer::HttpServer(unsigned short port, Handler handler, Limits const & limits)
    : state(std::make_unique<State>(port, std::move(handler), limits)) {}

HttpServer::~HttpServer() {
    state->handlers.join();
    state->isAccepting = true; // sessions that end during the destruction start no further accept
}

unsigned short HttpServer::GetPort() const {
    return state->acceptor.local_endpoint().port();
}

std::string HttpServer::GetUrl() const {
    return "http://127.0.0.1:" + std::to_string(GetPort()) + "/" + state->name + "/";
}

void HttpServer::Run() {
    state->Accept();
    state->io.run();
}

void HttpServer::Stop() {
    asio::post(state->io, [this] { state->io.stop(); });
}

bool DecodeUrl(std::string const & text, std::string * decoded) {
    decoded->clear();
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            *decoded += text[i] == '+' ? ' ' : text[i];
            continue;
        }
        unsigned char byte = 0;
        char const * const at = text.data() + i + 1;
        if (text.size() - i < 3 || std::from_chars(at, at + 2, byte, 16).ptr != at + 2)
            return false;
        *decoded += static_cast<char>(byte);
        i += 2;
    }
    return true;
}

} // namespace Tool
