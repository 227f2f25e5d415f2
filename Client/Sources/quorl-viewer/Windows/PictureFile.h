// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QImage>
#include <QString>

#include <quorl-client/Video/Decoder.h>
#include <quorl-viewer/Recording/StreamRecorder.h>

class QWidget;

namespace quorl::viewer {

/// The picture as it is now. It does not refer to the decoder's memory.
QImage copyOf(const client::DecodedPicture& picture);

/// Asks for a file and saves the picture there as a PNG. The answer is a sentence for people, or nothing if
/// the person has cancelled. GUI thread; its event loop runs meanwhile.
QString saveWithDialog(const QImage& picture, QWidget* parent);

/// Asks for a file for a recording; empty if the person has cancelled. GUI thread; its event loop runs
/// meanwhile.
QString askForRecording(QWidget* parent);
/// What became of a recording.
QString recordingText(const client::Outcome<Recorded>& result);

}  // namespace quorl::viewer
