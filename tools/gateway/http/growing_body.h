// A body in a string that grows as bytes arrive. Beast's own string body reserves what the client
// announces, which may be the whole limit for each connection. Part of beast_server.cpp.
#pragma once

#include <boost/asio/buffer.hpp>
#include <boost/beast/core/buffers_range.hpp>
#include <boost/beast/http/message.hpp>
#include <boost/optional.hpp>
#include <cstdint>
#include <string>

namespace Gateway {

struct GrowingBody {
  using value_type = std::string;

  // The names are those that Beast looks for.
  class reader {  // NOLINT(readability-identifier-naming)
   public:
    template <bool IsRequest, typename Fields>
    reader(boost::beast::http::header<IsRequest, Fields>&, value_type& body) : body_(body) {}

    void init(const boost::optional<std::uint64_t>&, boost::system::error_code& failure) {
      failure = {};
    }
    template <typename Buffers>
    std::size_t put(const Buffers& buffers, boost::system::error_code& failure) {
      failure = {};
      std::size_t count = 0;
      for (const auto buffer : boost::beast::buffers_range_ref(buffers)) {
        body_.append(static_cast<const char*>(buffer.data()), buffer.size());
        count += buffer.size();
      }
      return count;
    }
    void finish(boost::system::error_code& failure) { failure = {}; }

   private:
    value_type& body_;
  };
};

}  // namespace Gateway
