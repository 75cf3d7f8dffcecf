#pragma once

#include "engine/devtools/session.h"
#include "engine/job/input.h"
#include "engine/job/job.h"

/// Answers the questions for a name and password that come up while the page of this session is loaded: those
/// of the proxy, and those of the server that `address` names, of no other. Does nothing for a job without
/// any, since intercepting requests has its price.
void answerAuthentication(Session &session, const Job &job, const Address &address);
