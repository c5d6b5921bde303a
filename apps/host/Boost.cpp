// What Asio and Beast would otherwise compile into every file that includes them is compiled here, once.
#include <boost/asio/impl/src.hpp>
#include <boost/beast/src.hpp>
