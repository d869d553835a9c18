// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "authentication.h"

#include <functional>

/**
 * Where the machine has a key: says whether what is going to be written to the disk is authentic; a Failure with
 * `Refused` where it is not and the key's file asks for it.
 * @param what as "hdc1: the image"
 * @param faultOf tells why it is not
 */
void JudgeAuthenticity(const std::string& what, const std::function<Remark(const Authentication& key)>& faultOf);
