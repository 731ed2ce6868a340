#pragma once

#include <asio/error.hpp>
#include <cerrno>
#include <system_error>

/// Asio keeps the system's error numbers in a category of its own, which equals no std::errc; this
/// gives them back to the standard one. Errors of other kinds stay as they are.
inline std::error_code nk_systemError(std::error_code const& error) {
  if (error.category() != asio::error::get_system_category()) return error;
  return {error.value(), std::system_category()};
}

/// The error that the last call of the system left in errno.
inline std::error_code nk_lastSystemError() { return {errno, std::system_category()}; }
