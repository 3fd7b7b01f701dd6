#pragma once

#include <functional>
#include <memory>
#include <string>

namespace Tool {

/// The reply of a handler to a request.
struct HttpReply {
    unsigned int status = 200;
    std::string type = "application/json";
    std::string body;
};

/// Serves pages to the browser of the user who started the tool, and to no other user as far as
/// that is possible without passwords.
///
/// It listens on 127.0.0.1 only. Every address begins with a random name, which is in the URL that
/// the tool prints, so that other users of the machine, who can connect, cannot access anything. A
/// request whose Host is not this machine with the port is refused: a page from elsewhere whose
/// name was made to resolve to 127.0.0.1 (DNS rebinding) has its own name there. Only GET is
/// supported, no body, no range. Served pages may run only scripts and styles of this server, and
/// may not be framed or read by other pages.
///
/// Memory:  in proportion to the limits, whatever clients send.
/// Threads: Run communicates with clients. Handlers run on `HandlerThreads` others, so that a slow
///          one does not block the page.
/// Failure: std::system_error from the constructor. Afterwards none: a failed connection ends. An
///          exception of a handler is status 500.
class HttpServer {
public:
    static constexpr unsigned int HandlerThreads = 2;

    struct Limits {
        unsigned int connections = 64;   ///< further ones wait until one has ended
        unsigned int headerSize = 16384; ///< bytes
        unsigned int targetLength = 8192;
        double requestSeconds = 10; ///< from the first byte awaited to the last
        double replySeconds = 60;
    };
    /// Receives the part after the random name, with the query: "" or "a/b?c=d".
    using Handler = std::function<HttpReply(std::string const & target)>;

    /// Starts to listen. Port 0: the system chooses.
    HttpServer(unsigned short port, Handler handler);
    HttpServer(unsigned short port, Handler handler, Limits const & limits);
    ~HttpServer();
    HttpServer(HttpServer const &) = delete;
    HttpServer & operator=(HttpServer const &) = delete;

    unsigned short GetPort() const;
    /// With the random name, and a slash at its end.
    std::string GetUrl() const;
    /// Serves until Stop.
    void Run();
    /// From any thread.
    void Stop();

private:
    struct State;
    std::unique_ptr<State> state;
};

/// As in a query: %20 and + are blanks. False: a % without two digits.
bool DecodeUrl(std::string const & text, std::string * decoded);

} // namespace Tool
