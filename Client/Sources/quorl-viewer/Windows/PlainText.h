// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>

#include <QString>

#include <quorl-client/Base/ClientError.h>
#include <quorl-client/Base/Printable.h>
#include <quorl-client/Base/Shorten.h>

/// Texts of the host in widgets: never markup, a mnemonic, a mark of the toolkit or a control character.
namespace quorl::viewer {

/// Longer texts are cut: a label lays out all of its text.
constexpr std::size_t longestPlain = 2'000;

inline QString plain(std::string text) {
  client::shorten(text, longestPlain);
  return QString::fromStdString(client::printable(text));
}

inline QString plain(const client::ClientError& error) {
  return plain(error.advice.empty() ? error.what : error.what + ". " + error.advice);
}

/// For buttons and menus, where an ampersand marks the next letter.
inline QString withoutMnemonics(QString text) {
  return text.replace(QLatin1Char('&'), QLatin1String("&&"));
}

/// For window titles, where "[*]" shows whether a document is saved.
inline QString asWindowTitle(QString text) {
  return text.replace(QLatin1String("[*]"), QLatin1String("[*][*]"));
}

}  // namespace quorl::viewer
