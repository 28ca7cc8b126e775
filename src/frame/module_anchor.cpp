// The shared module's own translation unit; everything else comes from qm_core.
