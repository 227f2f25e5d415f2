// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Users/PamCredentials.h>

#include <cstdlib>
#include <cstring>
#include <utility>

#include <security/pam_appl.h>

#include <QuorlHostCore/Log/Log.h>
#include <fmt/format.h>

namespace quorl {

namespace {

void forget(pam_response* responses, int count) {
  for (int i = 0; i < count; ++i)
    if (char* text = responses[i].resp) {
      overwrite({text, std::strlen(text)});
      std::free(text);
    }
  std::free(responses);
}

// A copy for PAM, which overwrites and frees it.
char* copyOf(const SecretText& password) {
  const auto text = password.view();
  auto* copy = static_cast<char*>(std::calloc(text.size() + 1, 1));
  if (copy != nullptr) text.copy(copy, text.size());
  return copy;
}

// Answers the question for the password. A module that asks anything else gets no answer.
int converse(int count, const pam_message** messages, pam_response** answer, void* password) {
  if (count <= 0 || count > PAM_MAX_NUM_MSG) return PAM_CONV_ERR;
  auto* responses =
      static_cast<pam_response*>(std::calloc(static_cast<std::size_t>(count), sizeof(pam_response)));
  if (responses == nullptr) return PAM_BUF_ERR;
  for (int i = 0; i < count; ++i) {
    if (messages[i]->msg_style == PAM_ERROR_MSG || messages[i]->msg_style == PAM_TEXT_INFO) continue;
    const bool isPassword = messages[i]->msg_style == PAM_PROMPT_ECHO_OFF;
    responses[i].resp = isPassword ? copyOf(*static_cast<const SecretText*>(password)) : nullptr;
    if (responses[i].resp != nullptr) continue;
    forget(responses, count);
    return PAM_CONV_ERR;
  }
  *answer = responses;
  return PAM_SUCCESS;
}

void noDelay(int, unsigned, void*) {}

}  // namespace

PamCredentials::PamCredentials(std::string service, std::string folder)
    : service_(std::move(service)), folder_(std::move(folder)) {}

bool PamCredentials::verify(const std::string& username, const SecretText& password) {
  // Both are C strings for PAM, which takes passwords of at most PAM_MAX_RESP_SIZE bytes.
  const auto text = password.view();
  if (username.empty() || username.find('\0') != std::string::npos ||
      text.find('\0') != std::string_view::npos || text.size() >= PAM_MAX_RESP_SIZE)
    return false;
  const pam_conv conversation{converse, const_cast<SecretText*>(&password)};
  pam_handle_t* pam = nullptr;
  int result = pam_start_confdir(service_.c_str(), username.c_str(), &conversation,
                                 folder_.empty() ? nullptr : folder_.c_str(), &pam);
  if (result != PAM_SUCCESS) {
    Log::auth.error(fmt::format("passwords cannot be checked: PAM does not start ({})", result));
    return false;
  }
  // A conversion, because PAM takes the function as an item of any type.
  pam_set_item(pam, PAM_FAIL_DELAY, reinterpret_cast<const void*>(&noDelay));
  result = pam_authenticate(pam, PAM_SILENT | PAM_DISALLOW_NULL_AUTHTOK);
  if (result == PAM_SUCCESS) result = pam_acct_mgmt(pam, PAM_SILENT | PAM_DISALLOW_NULL_AUTHTOK);
  pam_end(pam, result);
  return result == PAM_SUCCESS;
}

}  // namespace quorl
