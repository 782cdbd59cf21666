#pragma once

#include <string_view>

/// The parts of the page that --format html prints, as the files of the same names hold them. In
/// the templates a comment such as <!--log--> stands for what is put in its place.
namespace replay {

extern const std::string_view kPageTemplate;
extern const std::string_view kPackagesTemplate;
extern const std::string_view kPageStyle;
extern const std::string_view kPageScript;

/// The SHA-256 of style and script in hexadecimal digits, by which the page allows them and no
/// others.
extern const std::string_view kPageStyleHash;
extern const std::string_view kPageScriptHash;

}  // namespace replay
