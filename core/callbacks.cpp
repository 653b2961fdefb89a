// The thread's callback slots: K_GetStatusCallBack, K_SetStatusCallBack,
// K_GetCopyStatusCallBack, K_SetCopyStatusCallBack,
// K_VecSetSubstituteFontCallback, K_VecGetSubstituteFontCallback.
#include "core/settings.h"
#include "kest/callbacks.h"
#include "kest/status.h"

namespace {

K_STATUSCALLBACK ReadSlot(K_STATUSCALLBACK callback, void *slotUserData, void **userData) {
  if (userData != nullptr) *userData = slotUserData;
  return callback;
}

void WriteSlot(K_STATUSCALLBACK &slot, void *&slotUserData, K_STATUSCALLBACK callback,
               void *userData, K_STATUSCALLBACK *oldCallback, void **oldUserData) {
  if (oldCallback != nullptr) *oldCallback = slot;
  if (oldUserData != nullptr) *oldUserData = slotUserData;
  slot = callback;
  slotUserData = userData;
}

}  // namespace

KEST_API K_STATUSCALLBACK K_GetStatusCallBack(void **userData) {
  kest::ThreadSettings &settings = kest::GetThreadSettings();
  return ReadSlot(settings.StatusCallback, settings.StatusUserData, userData);
}

KEST_API void K_SetStatusCallBack(K_STATUSCALLBACK callback, void *userData,
                                  K_STATUSCALLBACK *oldCallback, void **oldUserData) {
  kest::ThreadSettings &settings = kest::GetThreadSettings();
  WriteSlot(settings.StatusCallback, settings.StatusUserData, callback, userData, oldCallback,
            oldUserData);
}

KEST_API K_STATUSCALLBACK K_GetCopyStatusCallBack(void **userData) {
  kest::ThreadSettings &settings = kest::GetThreadSettings();
  return ReadSlot(settings.CopyStatusCallback, settings.CopyStatusUserData, userData);
}

KEST_API void K_SetCopyStatusCallBack(K_STATUSCALLBACK callback, void *userData,
                                      K_STATUSCALLBACK *oldCallback, void **oldUserData) {
  kest::ThreadSettings &settings = kest::GetThreadSettings();
  WriteSlot(settings.CopyStatusCallback, settings.CopyStatusUserData, callback, userData,
            oldCallback, oldUserData);
}

// Nothing in this library calls the substitute-font callback; it is kept
// here for the vector libraries, which read it back.
KEST_API int32_t K_VecSetSubstituteFontCallback(K_SUBSTITUTEFONTCALLBACK callback, void *userData) {
  kest::ThreadSettings &settings = kest::GetThreadSettings();
  settings.SubstituteFontCallback = callback;
  settings.SubstituteFontUserData = userData;
  return K_SUCCESS;
}

KEST_API int32_t K_VecGetSubstituteFontCallback(K_SUBSTITUTEFONTCALLBACK *callback, void **userData) {
  if (callback == nullptr || userData == nullptr) return K_ERR_PARAMETER;
  kest::ThreadSettings &settings = kest::GetThreadSettings();
  *callback = settings.SubstituteFontCallback;
  *userData = settings.SubstituteFontUserData;
  return K_SUCCESS;
}
