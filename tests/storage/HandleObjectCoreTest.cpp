#include <FileSystem/storage/HandleObjectCore.h>

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

using FileSystem::HandleObjectCore;
using FileSystem::HandleObjectCoreComposite;

namespace {

// A leaf that notices its invalidation, as a real handle must, and counts its ends.
class Leaf : public HandleObjectCore {
public:
    Leaf(HandleObjectCoreComposite* parent, int* destroyed = nullptr)
        : HandleObjectCore(parent), m_destroyed(destroyed) {}
    ~Leaf() override {
        if (m_destroyed != nullptr)
            ++*m_destroyed;
    }
    int invalidations = 0;
    void checkFatal() { checkFatalError(); }

protected:
    void do_invalidate() override {
        ++invalidations;
        HandleObjectCore::do_invalidate();
    }
    bool do_isValid() const override { return invalidations == 0 && HandleObjectCore::do_isValid(); }

private:
    int* m_destroyed;
};

class Node : public HandleObjectCoreComposite {
public:
    using HandleObjectCoreComposite::addChild;
    using HandleObjectCoreComposite::HandleObjectCoreComposite;
    bool valid = true;
    bool fatal = false;

protected:
    bool do_isValid() const override { return valid && HandleObjectCoreComposite::do_isValid(); }
    void do_checkFatalError() override {
        if (fatal)
            throw std::runtime_error("fatal");
        HandleObjectCoreComposite::do_checkFatalError();
    }
};

template <class T, class... Args>
std::shared_ptr<T> adopt(Node& parent, Args&&... args) {
    return std::static_pointer_cast<T>(parent.addChild(std::make_unique<T>(&parent, std::forward<Args>(args)...)));
}

} // namespace

TEST(HandleObjects, ValidityGoesUpAndInvalidationGoesDownTheTree) {
    Node root(nullptr);
    auto middle = adopt<Node>(root);
    ASSERT_TRUE(middle);
    auto leaf = adopt<Leaf>(*middle);
    ASSERT_TRUE(leaf);
    EXPECT_EQ(leaf->parent(), middle.get());
    EXPECT_TRUE(leaf->isValid());

    // A parent that answers false makes its descendants invalid.
    root.valid = false;
    EXPECT_FALSE(leaf->isValid());
    root.valid = true;

    // Fatal errors are asked for up to the root.
    root.fatal = true;
    EXPECT_THROW(leaf->checkFatal(), std::runtime_error);
    root.fatal = false;
    EXPECT_NO_THROW(leaf->checkFatal());

    // Invalidating the root reaches the leaf through the middle; the composite
    // keeps its list and its own parent, and can be invalidated again.
    root.invalidate();
    EXPECT_EQ(leaf->invalidations, 1);
    EXPECT_FALSE(leaf->isValid());
    EXPECT_EQ(middle->parent(), &root); // a composite keeps its own parent
    middle->invalidate();
    EXPECT_EQ(leaf->invalidations, 2);
}

TEST(HandleObjects, ChildrenAreOwnedByTheCallerAndListedWeakly) {
    Node root(nullptr);
    Node other(nullptr);
    int destroyed = 0;

    // A child made for another parent is refused and destroyed, derived part included.
    EXPECT_FALSE(root.addChild(std::make_unique<Leaf>(&other, &destroyed)));
    EXPECT_EQ(destroyed, 1);

    auto first = adopt<Leaf>(root, &destroyed);
    auto second = adopt<Leaf>(root, &destroyed);
    auto third = adopt<Leaf>(root, &destroyed);

    // Invalidated without deleteMe: still listed, so the root reaches it again.
    first->invalidate();
    root.invalidate();
    EXPECT_EQ(first->invalidations, 2);

    // Dropping the second only ends it: its entry expires and is skipped.
    second.reset();
    EXPECT_EQ(destroyed, 2);
    root.invalidate();
    EXPECT_EQ(third->invalidations, 2);

    // deleteMe leaves the list (and invalidates); the root no longer reaches it.
    auto fourth = adopt<Leaf>(root, &destroyed);
    fourth->deleteMe();
    EXPECT_EQ(fourth->invalidations, 1);
    EXPECT_EQ(fourth->parent(), nullptr);
    root.invalidate();
    EXPECT_EQ(fourth->invalidations, 1);
    EXPECT_EQ(third->invalidations, 3);
    EXPECT_EQ(first->invalidations, 4);

    // removeChild of the first still finds it although it was invalidated.
    root.removeChild(first.get());
    root.invalidate();
    EXPECT_EQ(first->invalidations, 4);
    EXPECT_EQ(third->invalidations, 4);
}

TEST(HandleObjects, ADyingParentCutsItsChildrenLoose) {
    int destroyed = 0;
    std::shared_ptr<Leaf> orphan;
    std::shared_ptr<HandleObjectCore> middleAsCore;
    {
        Node root(nullptr);
        auto middle = adopt<Node>(root);
        orphan = adopt<Leaf>(*middle, &destroyed);
        middleAsCore = middle;
        EXPECT_EQ(orphan->invalidations, 0);
    }
    // The root's end cut the middle loose and invalidated it, which reached the leaf.
    EXPECT_EQ(middleAsCore->parent(), nullptr);
    EXPECT_EQ(orphan->invalidations, 1);
    // The middle ends through a HandleObjectCore pointer; its leaf is cut loose too.
    middleAsCore.reset();
    EXPECT_EQ(orphan->parent(), nullptr);
    EXPECT_EQ(orphan->invalidations, 2);
    orphan.reset();
    EXPECT_EQ(destroyed, 1);
}
