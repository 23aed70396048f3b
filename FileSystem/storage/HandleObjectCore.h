#pragma once

// A small framework for trees of handle objects: a parent that can invalidate
// its live children, and children that ask up the chain of parents whether
// they are still good. The library has no handle classes of its own; it offers
// these bases to the applications built on it.

#include <FileSystem/Export.h>

#include <memory>
#include <mutex>
#include <vector>

namespace FileSystem {

class HandleObjectCoreComposite;

/// One handle: a parent pointer (not owning) and a recursive lock of its own.
///
/// A child handed to HandleObjectCoreComposite::addChild is deleted through a
/// HandleObjectCore pointer when its last owner drops it. The destructor is
/// virtual, so that the derived destructors run and the memory of a child is
/// released whole (a composite child's list included); derived classes should
/// still let go of what they hold in do_invalidate(), which every road runs.
class FILESYSTEM_EXPORT HandleObjectCore {
public:
    /// Stores the parent (null for a root); does not register with it.
    explicit HandleObjectCore(HandleObjectCoreComposite* parent);
    /// Invalidates the handle; anything thrown is swallowed.
    virtual ~HandleObjectCore();

    HandleObjectCore(const HandleObjectCore&) = delete;
    HandleObjectCore& operator=(const HandleObjectCore&) = delete;

    /// do_isValid(): a handle is valid while its chain of parents says so.
    bool isValid() const { return do_isValid(); }
    /// The parent, null for a root and after invalidation.
    HandleObjectCoreComposite* parent() const noexcept { return m_parent; }
    /// do_invalidate() under the handle's lock. Throws std::system_error when
    /// the lock cannot be taken.
    void invalidate();
    /// Leaves the parent's list of children, then invalidates. The object is
    /// not deleted: it ends when its owner drops it.
    void deleteMe();
    /// Forgets the parent, without the lock (the parent is going away).
    void parentDeleted() noexcept { m_parent = nullptr; }

protected:
    /// Takes the handle's lock and returns a guard that releases it when it is
    /// destroyed. Throws std::system_error when the lock cannot be taken.
    std::unique_ptr<std::unique_lock<std::recursive_mutex>> getLock() const;
    /// do_checkFatalError().
    void checkFatalError() { do_checkFatalError(); }

    /// Asks the parent, if any; a root has nothing to check.
    virtual void do_checkFatalError();
    /// Forgets the parent.
    virtual void do_invalidate();
    /// True without a parent, otherwise the parent's answer.
    virtual bool do_isValid() const;

private:
    friend class HandleObjectCoreComposite;

    HandleObjectCoreComposite* m_parent;
    mutable std::recursive_mutex m_lock;
};

/// A handle with children. It never keeps a child alive: it holds weak
/// pointers, and the caller of addChild() owns the child.
class FILESYSTEM_EXPORT HandleObjectCoreComposite : public HandleObjectCore {
public:
    /// As HandleObjectCore, with no children.
    explicit HandleObjectCoreComposite(HandleObjectCoreComposite* parent);
    /// Cuts every live child loose (its parent becomes null) and invalidates
    /// it; an exception from a child ends the walk and is swallowed.
    ~HandleObjectCoreComposite() override;

    /// Removes `child` from the list, and on the way every entry whose child
    /// has gone. An absent child leaves only that clean-up behind.
    void removeChild(HandleObjectCore* child);

protected:
    /// Takes ownership of a child created with this composite as its parent,
    /// lists it and hands it back shared: the caller owns it from then on. A
    /// child made for another parent is refused: the result is empty and the
    /// child is destroyed. `child` must not be null.
    std::shared_ptr<HandleObjectCore> addChild(std::unique_ptr<HandleObjectCore>&& child);

    /// Invalidates every live child, in the order they were added. The
    /// composite keeps its own parent and its list.
    void do_invalidate() override;

private:
    std::vector<std::weak_ptr<HandleObjectCore>> m_children;
};

} // namespace FileSystem
