/**
 * The native methods, exactly as {@code libharlune.so} exports them, in two families. {@link
 * velnor.nat.NativeFunctions}, on which the classes of {@link velnor} stand, takes the module as an argument and
 * answers with values; {@link velnor.nat.NativeCryptoki}, {@link velnor.nat.NativeSlot} and {@link
 * velnor.nat.NativeSession} are the contract that programs have been built on. The families share no state.
 *
 * <p>The caller loads the library before the first native method, with {@link velnor.NativeLibrary#load()} or
 * {@link java.lang.System#load(String)}; no class here does it.
 *
 * <p><strong>All that follows is about the contract.</strong> It keeps its state in the process: one PKCS#11 module at
 * a time, bound by {@link velnor.nat.NativeCryptoki#loadCryptokiLibrary(String)}, and it keeps no lock. Nobody may
 * load, initialise or finalise while another thread uses the module, and the module itself is initialised without
 * locking arguments: unless its vendor says otherwise, call it from one thread at a time.
 *
 * <p><strong>What every method has in common.</strong> A failure arrives as a {@link velnor.CryptokiException} that
 * names the method, and a method called before {@link velnor.nat.NativeCryptoki#Initialize(Object)} throws code 0x190
 * under its own name. Offsets and lengths are <em>not</em> compared with the arrays they belong to: one that lies
 * outside lets the module read or write foreign memory. Every {@code int} that becomes a PKCS#11 value is widened with
 * its sign.
 *
 * <p><strong>Session handles have 32 bits here.</strong> A {@link velnor.nat.NativeSession} carries the low 32 bits of
 * the module's handle, read back with their sign. A module with wider handles (some use heap pointers) cannot be
 * driven directly; {@code p11-kit-proxy.so} in front of it hands out small ones. Object and key handles travel whole,
 * as {@code long}, except where a method says otherwise.
 *
 * <p><strong>Calls that end the JVM.</strong> These methods, kept as programs know them, give native memory back to no
 * array, which no JVM survives:
 * <ul>
 * <li>with an output array, when the module refuses or the session object is unusable: the {@code int} forms of
 * {@code J_SignRecover}, {@code J_VerifyRecover} and {@code J_DigestFinal}, and the four dual-function updates
 * ({@code J_DecryptDigestUpdate}, {@code J_DigestEncryptUpdate}, {@code J_SignEncryptUpdate},
 * {@code J_DecryptVerifyUpdate});</li>
 * <li>{@code J_VerifyUpdate} with a null {@code part}.</li>
 * </ul>
 * The {@code byte[]} forms are safe. So is a null output array, which asks for the length, except in the dual-function
 * updates: some modules (NSS's softoken) read it there.
 */
package velnor.nat;
