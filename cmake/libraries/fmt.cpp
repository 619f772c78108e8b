// fmt's code; everybody else sees its declarations and templates only.
#include <fmt/format-inl.h>

// The locale templates that fmt/format.h declares as instantiated elsewhere.
template fmt::detail::thousands_sep_result<char> fmt::detail::thousands_sep_impl<char>(fmt::detail::locale_ref);
template fmt::detail::thousands_sep_result<wchar_t> fmt::detail::thousands_sep_impl<wchar_t>(fmt::detail::locale_ref);
template char fmt::detail::decimal_point_impl<char>(fmt::detail::locale_ref);
template wchar_t fmt::detail::decimal_point_impl<wchar_t>(fmt::detail::locale_ref);
