// The drawing sequence of a stage as a treap ordered by place: each node
// holds a sprite, a random priority (heap-ordered, which keeps the tree
// balanced in expectation), the size of its subtree and the smallest z in
// it. Places are never stored, only counted: a node's place is the number
// of nodes before it, found by climbing to the root.
//
// Placing by z value looks for the first sprite whose z is smaller than
// the new value; a subtree whose smallest z is not smaller holds no such
// sprite and is passed over whole, so the search goes down one path.
//
// Worked example: z values (9, 5, 5, 1) and a sprite placed with 5. The
// smallest z of the whole tree is 1 < 5, so there is a place; passing over
// 9, 5 and 5 (none smaller than 5) the search stops at 1, place 3, and the
// sprite goes between the second 5 and the 1.
#include <algorithm>
#include <cstdint>

#include "sprig/engine.h"

int32_t CSpriteSequence::NewNode(CSprite* s)
{
    // xorshift: any sequence of priorities gives the same order of sprites,
    // only the shape of the tree depends on it.
    mSeed ^= mSeed << 13;
    mSeed ^= mSeed >> 17;
    mSeed ^= mSeed << 5;
    const auto z = static_cast<int16_t>(s->mZ);
    const TreeNode node = {s, -1, -1, -1, -1, mSeed, 1, z, z};
    if (!mFree.empty()) {
        const int32_t t = mFree.back();
        mFree.pop_back();
        Node(t) = node;
        return t;
    }
    mNodes.push_back(node);
    return static_cast<int32_t>(mNodes.size() - 1);
}

void CSpriteSequence::Pull(int32_t t)
{
    TreeNode& n = Node(t);
    n.count = 1;
    n.minZ = n.z;
    for (int32_t child : {n.left, n.right}) {
        if (child < 0)
            continue;
        TreeNode& c = Node(child);
        c.parent = t;
        n.count += c.count;
        n.minZ = std::min(n.minZ, c.minZ);
    }
}

// The nodes of a, then those of b.
int32_t CSpriteSequence::Merge(int32_t a, int32_t b)
{
    if (a < 0)
        return b;
    if (b < 0)
        return a;
    if (Node(a).priority > Node(b).priority) {
        Node(a).right = Merge(Node(a).right, b);
        Pull(a);
        return a;
    }
    Node(b).left = Merge(a, Node(b).left);
    Pull(b);
    return b;
}

// The first k nodes of t into *left, the rest into *right.
void CSpriteSequence::Split(int32_t t, uint32_t k, int32_t* left, int32_t* right)
{
    if (t < 0) {
        *left = *right = -1;
        return;
    }
    const uint32_t before = Count(Node(t).left);
    if (k <= before) {
        Split(Node(t).left, k, left, &Node(t).left);
        Pull(t);
        *right = t;
    } else {
        Split(Node(t).right, k - before - 1, &Node(t).right, right);
        Pull(t);
        *left = t;
    }
}

// Goes down by place to where the node's priority puts it, splits the
// subtree found there around the place and hangs it under the node, then
// counts the node in along the way back up.
void CSpriteSequence::InsertAt(uint32_t k, int32_t node)
{
    const uint32_t priority = Node(node).priority;
    int32_t parent = -1;
    int32_t* link = &mRoot;
    while (*link >= 0 && Node(*link).priority >= priority) {
        const int32_t t = *link;
        const uint32_t before = Count(Node(t).left);
        parent = t;
        if (k <= before) {
            link = &Node(t).left;
        } else {
            k -= before + 1;
            link = &Node(t).right;
        }
    }
    int32_t left, right;
    Split(*link, k, &left, &right);
    Node(node).left = left;
    Node(node).right = right;
    Pull(node);
    Node(node).parent = parent;
    *link = node;
    for (int32_t q = parent; q >= 0; q = Node(q).parent)
        Pull(q);
    mStale = true;
}

uint32_t CSpriteSequence::Rank(int32_t t) const
{
    uint32_t rank = Count(Node(t).left);
    for (int32_t p = Node(t).parent; p >= 0; t = p, p = Node(p).parent)
        if (Node(p).right == t)
            rank += Count(Node(p).left) + 1;
    return rank;
}

uint32_t CSpriteSequence::FirstBelow(int32_t z) const
{
    if (mRoot < 0 || Node(mRoot).minZ >= z)
        return static_cast<uint32_t>(size());
    uint32_t rank = 0;
    int32_t t = mRoot;
    for (;;) {
        const int32_t left = Node(t).left;
        if (left >= 0 && Node(left).minZ < z) {
            t = left;
            continue;
        }
        if (Node(t).z < z)
            return rank + Count(left);
        rank += Count(left) + 1;
        t = Node(t).right; // holds the smaller z, since neither left nor t does
    }
}

// Takes node t out of the tree: its two subtrees merged take its place.
void CSpriteSequence::Unlink(int32_t t)
{
    const TreeNode n = Node(t);
    if (n.left >= 0)
        Node(n.left).parent = -1;
    if (n.right >= 0)
        Node(n.right).parent = -1;
    const int32_t joined = Merge(n.left, n.right);
    if (joined >= 0)
        Node(joined).parent = n.parent;
    if (n.parent < 0) {
        mRoot = joined;
    } else {
        TreeNode& p = Node(n.parent);
        (p.left == t ? p.left : p.right) = joined;
        for (int32_t q = n.parent; q >= 0; q = Node(q).parent)
            Pull(q);
    }
    if (mRoot < 0) {
        // An empty sequence gives its storage back.
        mNodes.clear();
        mFree.clear();
    } else {
        mFree.push_back(t);
    }
    mStale = true;
}

void CSpriteSequence::Append(CSprite* s)
{
    const int32_t node = NewNode(s);
    const auto placed = mPlaces.emplace(s, node);
    if (!placed.second) {
        Node(node).twin = placed.first->second;
        placed.first->second = node;
    }
    InsertAt(static_cast<uint32_t>(size()), node);
}

void CSpriteSequence::InsertByZ(CSprite* s, int32_t z)
{
    const uint32_t place = FirstBelow(z);
    const int32_t node = NewNode(s);
    const auto placed = mPlaces.emplace(s, node);
    if (!placed.second) {
        Node(node).twin = placed.first->second;
        placed.first->second = node;
    }
    InsertAt(place, node);
}

bool CSpriteSequence::Remove(CSprite* s)
{
    const auto found = mPlaces.find(s);
    if (found == mPlaces.end())
        return false;
    const int32_t head = found->second;
    if (Node(head).twin < 0) {
        mPlaces.erase(found);
        Unlink(head);
        return true;
    }
    // A sprite placed more than once (only by calling AddSprite or
    // InsertSprite directly) leaves by its first place.
    int32_t first = head, beforeFirst = -1;
    uint32_t firstRank = Rank(head);
    for (int32_t p = head, q = Node(head).twin; q >= 0; p = q, q = Node(q).twin) {
        const uint32_t rank = Rank(q);
        if (rank < firstRank) {
            first = q;
            beforeFirst = p;
            firstRank = rank;
        }
    }
    if (beforeFirst < 0)
        found->second = Node(head).twin;
    else
        Node(beforeFirst).twin = Node(first).twin;
    Unlink(first);
    return true;
}

void CSpriteSequence::Rekey(CSprite* s)
{
    const auto found = mPlaces.find(s);
    if (found == mPlaces.end())
        return;
    for (int32_t t = found->second; t >= 0; t = Node(t).twin) {
        Node(t).z = static_cast<int16_t>(s->mZ);
        for (int32_t q = t; q >= 0; q = Node(q).parent)
            Pull(q);
    }
}
