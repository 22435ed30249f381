#ifndef THROWNTEXTS_H
#define THROWNTEXTS_H

#include <string>
#include <vector>

/**
 * The whole texts of the std::runtime_errors that were thrown since `forgetThrownTexts`, in order.
 * Shows those too that the library catches itself, whose texts nobody else gets to see.
 */
std::vector<std::string> const& thrownTexts();

void forgetThrownTexts();

#endif
