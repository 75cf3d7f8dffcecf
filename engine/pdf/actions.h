#pragma once

#include <qpdf/QPDFObjectHandle.hh>

/// What is left of an action (ISO 32000-1, 12.6; a dictionary) once everything is taken out that leads out of
/// the document: the action itself, with what is left of the actions after it, or those alone; null if
/// nothing is. An action that stays is changed in place. A destination (an array, name or string) stays as it
/// is.
///
/// Chains deeper than 64 actions or of more than 4096 are cut off.
QPDFObjectHandle internalAction(QPDFObjectHandle action);

/// Applies internalAction() to what `holder` has under `key`, and takes the key away if nothing is left.
void keepInternalAction(QPDFObjectHandle holder, const char *key);

/// The same for the additional actions of `holder`, a dictionary of actions under /AA.
void keepInternalAdditionalActions(QPDFObjectHandle holder);
