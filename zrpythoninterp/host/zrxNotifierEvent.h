#pragma once

template <typename T>
class zrxNotifier;

/// One event of a notifier.
/// **Owns**: nothing. Both fields are good for the length of the notification.
template <typename T>
struct zrxNotifierEvent {
  zrxNotifier<T>* notifier_;  ///< The sender.
  T data_;                    ///< What happened.
};
