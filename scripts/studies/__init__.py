"""What scripts/study computes, a module per subject."""
