#include "velmctl/output/Tree.h"

#include <algorithm>
#include <map>
#include <set>

namespace velm {

namespace {

using Children = std::map<std::string, std::vector<std::string>>;

struct Strokes {
    const char* child;
    const char* lastChild;
    const char* line;
    const char* gap;
};

constexpr Strokes boxes{"├── ", "└── ", "│   ", "    "};
constexpr Strokes letters{"|-- ", "`-- ", "|   ", "    "};

TreeNode growNode(const std::string& name, const Children& children) {
    TreeNode node{name, {}};
    if (const auto found = children.find(name); found != children.end()) {
        for (const std::string& child : found->second) {
            node.children.push_back(growNode(child, children));
        }
    }
    return node;
}

void drawChildren(const TreeNode& node, const std::string& indent, const Strokes& strokes,
                  std::vector<std::string>& lines) {
    for (const TreeNode& child : node.children) {
        const bool isLast = &child == &node.children.back();
        lines.push_back(indent + (isLast ? strokes.lastChild : strokes.child) + child.text);
        drawChildren(child, indent + (isLast ? strokes.gap : strokes.line), strokes, lines);
    }
}

}  // namespace

std::vector<TreeNode> makeTrees(const std::vector<std::pair<std::string, std::string>>& namesAndParents) {
    std::set<std::string> names;
    for (const auto& [name, parent] : namesAndParents) {
        names.insert(name);
    }
    Children children;
    std::vector<std::string> roots;
    for (const auto& [name, parent] : namesAndParents) {
        (names.contains(parent) ? children[parent] : roots).push_back(name);
    }
    for (auto& [name, ofOne] : children) {
        std::sort(ofOne.begin(), ofOne.end());
    }
    std::sort(roots.begin(), roots.end());
    std::vector<TreeNode> trees;
    for (const std::string& root : roots) {
        trees.push_back(growNode(root, children));
    }
    return trees;
}

std::vector<std::string> drawTrees(const std::vector<TreeNode>& trees, bool withBoxes) {
    std::vector<std::string> lines;
    for (const TreeNode& tree : trees) {
        lines.push_back(tree.text);
        drawChildren(tree, "", withBoxes ? boxes : letters, lines);
    }
    return lines;
}

}  // namespace velm
