#pragma once

#include <string>
#include <utility>
#include <vector>

namespace velm {

/// A text with others below it.
struct TreeNode {
    std::string text;
    std::vector<TreeNode> children;
};

/// The trees that pairs of a name and its parent's make, roots and children in the order of the names. A name
/// whose parent is not among the names is a root.
std::vector<TreeNode> makeTrees(const std::vector<std::pair<std::string, std::string>>& namesAndParents);

/// One line for each node, with lines between parents and children: box characters, or ASCII in their place.
std::vector<std::string> drawTrees(const std::vector<TreeNode>& trees, bool withBoxes);

}  // namespace velm
