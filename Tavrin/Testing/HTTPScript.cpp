#include "Tavrin/Testing/HTTPScript.hpp"

#include <strings.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <sstream>

#include "Tavrin/Foundation/FatalError.hpp"
#include "Tavrin/Foundation/URL.hpp"

namespace tavrin::testing {

namespace {

using Request = HTTPRequest;
using Resource = HTTPResource;

const std::string page = "<html><body>This is no video.</body></html>";
const std::string gzipped(
    "\x1f\x8b\x08\x00\x00\x00\x00\x00\x02\x03\x2b\x49\x2c\x2b\xca\xcc\x03\x00\x46\x6f\x37\x82"
    "\x06\x00\x00\x00",
    26);

std::string typeLine(const Resource& resource) {
  return "Content-Type: " + resource.contentType + "\r\n";
}

std::string lengthLine(std::string_view length) {
  return "Content-Length: " + std::string(length) + "\r\n";
}

HTTPStep okHead(const Resource& resource, std::string_view length) {
  return httpHead("200 OK", typeLine(resource) + lengthLine(length));
}

HTTPStep okHead(const Resource& resource) {
  return okHead(resource, std::to_string(resource.body->size()));
}

HTTPStep part(const Resource& resource, std::size_t from, std::size_t to) {
  return HTTPStep::send(resource.body, from, to - from);
}

HTTPStep whole(const Resource& resource) { return part(resource, 0, resource.body->size()); }

HTTPStep firstHalf(const Resource& resource) {
  return part(resource, 0, resource.body->size() / 2);
}

HTTPStep secondHalf(const Resource& resource) {
  return part(resource, resource.body->size() / 2, resource.body->size());
}

struct Range {
  std::size_t from;
  std::size_t to;
};

// The forms "bytes=a-b" and "bytes=a-"; absent for any other and outside the body.
std::optional<Range> parseRange(const std::string& text, std::size_t size) {
  Range range{0, size};
  std::size_t last = 0;
  const int numbers = std::sscanf(text.c_str(), "bytes=%zu-%zu", &range.from, &last);
  if (numbers == 2) range.to = std::min(last + 1, size);
  return numbers > 0 && range.from < range.to ? std::optional(range) : std::nullopt;
}

HTTPScript plain(const Request& request, const Resource& resource) {
  const auto size = resource.body->size();
  const auto wanted = request.header("Range");
  if (!wanted) return {okHead(resource), whole(resource)};
  const auto range = parseRange(*wanted, size);
  if (!range) return {httpHead("416 Range Not Satisfiable", lengthLine("0"))};
  std::ostringstream lines;
  lines << typeLine(resource) << "Accept-Ranges: bytes\r\nContent-Range: bytes " << range->from
        << '-' << range->to - 1 << '/' << size << "\r\nContent-Length: " << range->to - range->from
        << "\r\n";
  return {httpHead("206 Partial Content", lines.str()), part(resource, range->from, range->to)};
}

HTTPScript slow(const Request&, const Resource& resource) {
  constexpr std::size_t parts = 16;
  const auto size = resource.body->size();
  HTTPScript script{okHead(resource)};
  for (std::size_t i = 0; i < parts; ++i) {
    script.push_back(HTTPStep::pause());
    script.push_back(part(resource, size * i / parts, size * (i + 1) / parts));
  }
  return script;
}

HTTPScript chunked(const Request&, const Resource& resource) {
  constexpr std::size_t chunk = 10'000;
  HTTPScript script{httpHead("200 OK", typeLine(resource) + "Transfer-Encoding: chunked\r\n")};
  for (std::size_t at = 0; at < resource.body->size(); at += chunk) {
    const auto end = std::min(at + chunk, resource.body->size());
    std::ostringstream size;
    size << std::hex << end - at << "\r\n";
    script.push_back(HTTPStep::send(size.str()));
    script.push_back(part(resource, at, end));
    script.push_back(HTTPStep::send("\r\n"));
  }
  script.push_back(HTTPStep::send("0\r\nX-Trailer: end\r\n\r\n"));
  return script;
}

HTTPScript htmlPage(std::string_view status) {
  return {httpHead(status, "Content-Type: text/html; charset=utf-8\r\n" +
                               lengthLine(std::to_string(page.size()))),
          HTTPStep::send(page)};
}

HTTPScript redirect(const std::string& location) {
  const std::string text = "moved";
  return {httpHead("302 Found", "Location: " + location + "\r\nContent-Type: text/html\r\n" +
                                    lengthLine(std::to_string(text.size()))),
          HTTPStep::send(text)};
}

HTTPBehaviour declaring(const std::string& length) {
  return [length](const Request&, const Resource& resource) -> HTTPScript {
    return {okHead(resource, length), whole(resource), HTTPStep::close()};
  };
}

std::map<std::string, HTTPBehaviour, std::less<>> makeBehaviours() {
  std::map<std::string, HTTPBehaviour, std::less<>> all;
  all["plain"] = plain;
  all["slow"] = slow;
  all["chunked"] = chunked;
  all["until close"] = [](const Request&, const Resource& resource) -> HTTPScript {
    return {httpHead("200 OK", typeLine(resource)), whole(resource), HTTPStep::close()};
  };
  all["short body"] = [](const Request&, const Resource& resource) -> HTTPScript {
    return {okHead(resource), firstHalf(resource), HTTPStep::close()};
  };
  all["reset mid-body"] = [](const Request&, const Resource& resource) -> HTTPScript {
    return {okHead(resource), firstHalf(resource), HTTPStep::reset()};
  };
  all["stall"] = [](const Request&, const Resource& resource) -> HTTPScript {
    return {okHead(resource), firstHalf(resource), HTTPStep::pause(), secondHalf(resource)};
  };
  all["silence"] = [](const Request&, const Resource& resource) -> HTTPScript {
    return {HTTPStep::pause(), okHead(resource), whole(resource)};
  };
  all["not found"] = [](const Request&, const Resource&) { return htmlPage("404 Not Found"); };
  all["server error"] = [](const Request&, const Resource&) {
    return htmlPage("500 Internal Server Error");
  };
  all["html page"] = [](const Request&, const Resource&) { return htmlPage("200 OK"); };
  all["redirect"] = [](const Request& request, const Resource& resource) {
    return request.query.empty() ? redirect(request.path + "?followed") : plain(request, resource);
  };
  all["redirect loop"] = [](const Request& request, const Resource&) {
    return redirect(request.path);
  };
  all["redirect to file"] = [](const Request&, const Resource&) {
    return redirect("file:///etc/hostname");
  };
  all["gzip"] = [](const Request&, const Resource& resource) -> HTTPScript {
    return {httpHead("200 OK", typeLine(resource) + "Content-Encoding: gzip\r\n" +
                                   lengthLine(std::to_string(gzipped.size()))),
            HTTPStep::send(gzipped)};
  };
  all["unasked part"] = [](const Request&, const Resource& resource) -> HTTPScript {
    return {httpHead("206 Partial Content",
                     typeLine(resource) + lengthLine(std::to_string(resource.body->size() / 2))),
            firstHalf(resource)};
  };
  all["empty"] = [](const Request&, const Resource& resource) -> HTTPScript {
    return {okHead(resource, "0")};
  };
  all["no content"] = [](const Request&, const Resource&) -> HTTPScript {
    return {httpHead("204 No Content", "")};
  };
  all["hostile length"] = declaring("4611686018427387904");
  all["overflowing length"] = declaring("18446744073709551616");
  all["negative length"] = declaring("-1");
  return all;
}

const std::map<std::string, HTTPBehaviour, std::less<>>& behaviours() {
  static const auto all = makeBehaviours();
  return all;
}

std::string_view trimmed(std::string_view text) {
  const auto from = text.find_first_not_of(" \t");
  if (from == std::string_view::npos) return {};
  return text.substr(from, text.find_last_not_of(" \t\r") - from + 1);
}

}  // namespace

std::optional<HTTPRequest> HTTPRequest::parse(std::string& received) {
  constexpr std::string_view end = "\r\n\r\n";
  const auto length = received.find(end);
  if (length == std::string::npos) return {};
  std::istringstream lines(received.substr(0, length));
  received.erase(0, length + end.size());

  HTTPRequest request;
  std::string target;
  std::string line;
  lines >> request.method >> target;
  std::getline(lines, line);
  const auto mark = target.find('?');
  request.path = URL::percentDecode(target.substr(0, mark));
  if (mark != std::string::npos) request.query = target.substr(mark + 1);
  while (std::getline(lines, line)) {
    const auto colon = line.find(':');
    if (colon == std::string::npos) continue;
    request.headers.emplace_back(line.substr(0, colon),
                                 trimmed(std::string_view(line).substr(colon + 1)));
  }
  return request;
}

std::optional<std::string> HTTPRequest::header(std::string_view name) const {
  for (const auto& [key, value] : headers) {
    if (strcasecmp(key.c_str(), std::string(name).c_str()) == 0) return value;
  }
  return {};
}

HTTPStep HTTPStep::send(std::string text) {
  const auto length = text.size();
  return send(shareBytes(std::move(text)), 0, length);
}

HTTPStep HTTPStep::send(const SharedBytes& bytes, std::size_t offset, std::size_t length) {
  return {.kind = Kind::send, .bytes = bytes, .offset = offset, .length = length};
}

HTTPStep httpHead(std::string_view status, std::string_view headerLines) {
  return HTTPStep::send("HTTP/1.1 " + std::string(status) + "\r\n" + std::string(headerLines) +
                        "\r\n");
}

HTTPBehaviour httpBehaviour(std::string_view name) {
  const auto found = behaviours().find(name);
  if (found == behaviours().end()) fatalError("no behaviour of this name");
  return found->second;
}

std::vector<std::string> httpBehaviourNames() {
  std::vector<std::string> names;
  for (const auto& [name, behaviour] : behaviours()) names.push_back(name);
  return names;
}

}  // namespace tavrin::testing
