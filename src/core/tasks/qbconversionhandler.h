// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

class QBConversionBundle;

// What a running conversion needs of the conversion queue: someone to ask
// the user what to do when the tool reports an error. The queue's
// controller registers itself as the shared handler; the conversion goes on
// while the question is open, so an implementation must not block.
class QBConversionHandler
{
public:
    virtual ~QBConversionHandler();

    virtual void handleConversionErrorForBundle(QBConversionBundle *bundle) = 0;

    // The handler that conversions report to; none until one registers.
    static QBConversionHandler *shared();
    static void setShared(QBConversionHandler *handler);
};
